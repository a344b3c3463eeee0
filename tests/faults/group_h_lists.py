"""Group H: lists that lie about their length, change between two pages, or never end."""

import json

from campaign import row
from group_h_bodies import ended
from invariants import told
from played import Played
from programs import WARNINGS
from proxy import Reply, Rule, edited_json, first, status

SCRIPTS = "/api/v1/scripts"


def scripts(numbers):
    return [{"id": str(n), "name": f"Script {n}", "scriptContents": f"echo {n}"} for n in numbers]


def pages(count, total="right", same=False, change=None):
    """Pages of `count` scripts. `total` is what the server says that there are, None for nothing; with `same` each
    page is the first one; `change` gets the numbers that are left at a page and gives those that are there then."""

    def do(request):
        page, size = int(request.query["page"]), int(request.query["page-size"])
        numbers = list(range(1, count + 1))
        if change:
            numbers = change(page, numbers)
        begin = 0 if same else page * size
        answer = {"results": scripts(numbers[begin:begin + size])}
        if total is not None:
            answer["totalCount"] = len(numbers) if total == "right" else total
        return Reply(headers=[("Content-Type", "application/json")], body=json.dumps(answer).encode())

    return do


PLANS = [  # how it is asked, requests at most, objects that there have to be (none: what was read before it ended)
    ("a right count", {"count": 450}, 3, 450),
    ("no count", {"count": 450, "total": None}, 3, 450),
    ("no count and full pages", {"count": 400, "total": None}, 3, 400),
    ("a count that is too small", {"count": 450, "total": 100}, 3, None),
    ("a count that is too large", {"count": 450, "total": 1000}, 4, 450),
    ("a negative count", {"count": 450, "total": -7}, 3, None),
    ("a count of nothing", {"count": 450, "total": 0}, 3, None),
    ("a count as text", {"count": 450, "total": "450"}, 3, 450),
    ("a count of words", {"count": 450, "total": "many"}, 3, 450),
    ("a count of null", {"count": 450, "total": {}}, 3, 450),
    ("a count beyond all numbers", {"count": 450, "total": 2**70}, 4, 450),
    ("a count with a point", {"count": 450, "total": 450.0}, 3, 450),
    ("the same page for ever, and a count", {"count": 200, "total": 450, "same": True}, 3, None),
    ("the same page for ever, and a huge count", {"count": 200, "total": 10**12, "same": True}, 2000, None),
    ("the same page for ever, and no count", {"count": 200, "total": None, "same": True}, 2000, None),
    ("a short page for ever, and a huge count", {"count": 7, "total": 10**12, "same": True}, 2000, None),
]


@row("H14", "A count that is too small, too large, negative or text, and the same page for ever")
def counts(stage):
    play = Played(stage)
    most = 0
    for what, plan, bound, objects in stage.some(PLANS, 4):
        play.backup([Rule(SCRIPTS, pages(**plan))], timeout=60)
        asked = len(play.log(SCRIPTS))
        most = max(most, asked)
        problems = ended(play, 0, WARNINGS)
        problems += [] if asked <= bound else [f"{asked} requests for one list"]
        held = play.sections().get("scripts", {}).get("counts", {}).get("total")
        problems += [] if objects is None or held == objects else [f"{held} objects"]
        stage.tally.add(what, problems + play.recovers())
    stage.tally.worst = f"{most} requests for one list"
