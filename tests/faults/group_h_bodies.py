"""Group H: what the server says is not what it should be."""

import json
import zlib

from campaign import row
from canonical import name_of
from injection import MemoryWatch
from played import Played
from programs import WARNINGS
from proxy import Reply, Rule, edited, edited_json, first, reply, status

LIST, OBJECT = "/JSSResource/buildings", "/JSSResource/buildings/id/([^/]+)"
VERSION = "/api/v1/jamf-pro-version"
LOGIN = b"<!DOCTYPE html><html><head><title>Log in</title></head><body><form></form></body></html>"
NO_JSON = {"HTML": LOGIN, "nothing": b"", "text": b"Service unavailable", "half of it": b'{"building":{"id":1,"na',
           "XML": b'<?xml version="1.0"?><building><id>1</id></building>', "bytes": bytes(range(256)),
           "two documents": b"{}{}", "a comma too many": b'{"building":{"id":1,}}', "blanks": b"  \n\n "}
OTHER_JSON = [b'"text"', b"5", b"null", b"true", b"{}", b"[]", b'{"buildings":5}', b'{"buildings":[1,"x",null,[]]}',
              b'{"buildings":{"size":3}}', b'{"error":"no"}', b'{"buildings":[{"name":"no id"}]}']


def made_up(bodies):
    """Rules for buildings whose IDs and bodies are these, in place of the server's own."""
    listed = json.dumps({"buildings": [{"id": id, "name": f"Case {id}"} for id in bodies]}).encode()

    def building(request):
        return Reply(body=bodies[int(request.path.rpartition("/")[2])])

    return [Rule(LIST, status(200, listed)), Rule(OBJECT, building)]


def objects(play, section="buildings"):
    """Names of the stored objects by ID."""
    return {item["id"]: next(iter(item["objects"].values()))
            for item in play.instance.index(play.newest(), section)["items"]}


@row("H5", "200 with HTML, with nothing, or with another kind of JSON")
def strange_answers(stage):
    play = Played(stage)
    for kind, body in stage.some(list(NO_JSON.items()), 1):
        play.backup([Rule(LIST, status(200, body))])
        stage.tally.planted(f"{kind} for a Classic list", play.warned("failed", "buildings", ".+") + play.recovers())
        play.backup([Rule("/api/v1/scripts", status(200, body))])
        stage.tally.planted(f"{kind} for a list", play.warned("failed", "scripts", ".+") + play.recovers())
        play.backup([Rule(OBJECT, status(200, body), first(1))])
        stage.tally.planted(f"{kind} for an object", flagged(play) + play.recovers())
    for body in stage.some(OTHER_JSON, 1):
        play.backup([Rule(LIST, status(200, body))])
        stage.tally.add(f"{body.decode()} for a list", ended(play, 0, WARNINGS) + play.recovers())
    play.backup([Rule(VERSION, status(200, LOGIN))])
    stage.tally.add("HTML for the version", play.refused("not JSON") + play.recovers())
    play.backup([Rule("/api/v1/auth", status(200, LOGIN))])
    stage.tally.add("HTML for the privileges", play.went_well() + play.recovers())
    stage.tally.worst = f"{stage.tally.damage_found}/{stage.tally.damage_planted} flagged"


def ended(play, *statuses):
    return [] if play.end.status in statuses else [f"it ended otherwise: {play.end.text()}"]


def flagged(play, count=1):
    """The run and a check of the folder say that an answer is no JSON."""
    problems = ended(play, 0)
    if f"{count} answer" not in play.end.err or "not JSON" not in play.end.err:
        problems.append(f"the run says nothing: {play.end.err[-200:]!r}")
    end = play.stage.programs.run("orvik", "check", play.instance.path, "--quiet")
    if "no JSON" not in end.out + end.err:
        problems.append(f"the check says nothing: {end.out[-200:]!r}")
    return problems


def watched_backup(play, rules, timeout=120):
    """The end of a backup, and the most memory that it held, in MB."""
    play.instance = play.scene.reset()
    play.front.forget(rules)
    running = play.scene.programs.start("orvik", *play.scene.arguments())
    watch = MemoryWatch(running.pid)
    play.end = running.wait(timeout)
    watch.close()
    play.front.rules = []
    return watch.peak


def much_json(size):
    """A page of scripts of about so many bytes, made while it is sent."""

    def body():
        count = size >> 16
        yield b'{"totalCount":%d,"results":[' % count
        for n in range(1, count + 1):
            comma = b"," if n > 1 else b""
            yield b'%s{"id":"%d","name":"Script %d","scriptContents":"%s"}' % (comma, n, n, b"x" * 65450)
        yield b"]}"

    return body


def much_text(size):
    def body():
        yield b'{"building":{"id":1,"name":"'
        for _ in range(size >> 16):
            yield b"x" * (1 << 16)
        yield b'"}}'

    return body


def bomb(size):
    packer = zlib.compressobj(9, zlib.DEFLATED, 31)
    packed = b"".join([*(packer.compress(bytes(1 << 20)) for _ in range(size >> 20)), packer.flush()])
    return packed


def long_head(size):
    def body():
        yield b"HTTP/1.1 200 OK\r\nX-Long: "
        for _ in range(size >> 16):
            yield b"x" * (1 << 16)

    return body


MEGABYTE = 1 << 20
ONE, SCRIPTS = "/JSSResource/buildings/id/1", "/api/v1/scripts"
HUGE = [  # what is sent, to which question, MB in full and in a part, what has to come of it, MB of memory at most
    ("an answer packed 1000 times", OBJECT, bomb, 1024, 64, "flagged", 200),
    ("a long head", OBJECT, long_head, 1024, 64, "too long", 200),
    ("a long list", SCRIPTS, much_json, 100, 20, "read", 600),
    ("a long object", ONE, much_text, 100, 20, "read", 600),
    ("an object without end", OBJECT, much_text, 4096, 4096, "too long", 1400),
]


def huge_reply(make, size):
    made = make(size)
    if make is bomb:
        return reply(body=made, headers=[("Content-Encoding", "gzip"), ("Content-Type", "application/json")])
    return reply(raw=made) if make is long_head else reply(body=made)


def came(play, comes):
    if comes == "read":
        return ended(play, 0)
    if comes == "flagged":
        return flagged(play)
    problems = play.warned("partial", "buildings")
    said = {each["message"] for each in play.errors("buildings")} if play.newest() else set()
    return problems + [f"an error says {each}" for each in said if "127.0.0.1 is too long" not in each]


@row("H10", "An answer that would unpack to 1 GB, a head of 1 GB, answers of 100 MB, and one of 4 GB")
def huge_answers(stage):
    play = Played(stage)
    play.server.pace["--attempts"] = "1"
    figures = []
    for what, path, make, full, part, comes, most in HUGE:
        if stage.quick and comes == "too long" and make is much_text:
            path = ONE
        size = stage.size(part, full)
        always = None if comes == "too long" else {1}
        peak = watched_backup(play, [Rule(path, huge_reply(make, size * MEGABYTE), always)])
        figures.append(f"{what} of {size} MB: {peak:.0f} MB, {play.end.seconds:.1f} s")
        problems = came(play, comes) + ([] if peak < most else [f"{peak:.0f} MB of memory"])
        stage.tally.add(what, problems + play.recovers())
    stage.tally.worst = "; ".join(figures)


def nested(depth, opening=b"[", closing=b"]", inside=b"1"):
    return opening * depth + inside + closing * depth


SHAPES = {"arrays": (b"[", b"]", b""), "objects": (b'{"a":', b"}", b"1"), "both": (b'[{"a":', b"}]", b"null"),
          "unclosed": (b"[", b"", b"")}


@row("H11", "Nesting of 100 to 1,000,000 levels, in objects and in lists")
def nesting(stage):
    play = Played(stage)
    # 512 levels are read, and more are kept as they came.
    border = [(depth, shape) for depth in range(509, 514) for shape in SHAPES]
    others = [(10**power, shape) for power in range(2, 7) for shape in SHAPES]
    for depth, shape in stage.some(border, 2) + [(512, "arrays")] + stage.some(others, 1):
        body = nested(depth, *SHAPES[shape])
        where = f"{depth} {shape}"
        play.backup(made_up({1: body}))
        stage.tally.add(f"{where}, in an object", foretold(play, {"1": body}) + play.recovers())
        play.backup([Rule(LIST, status(200, body)), Rule("/api/v1/scripts", status(200, body))])
        stage.tally.add(f"{where}, for lists", ended(play, 0, WARNINGS) + play.recovers())


def foretold(play, bodies):
    """Each object bears the name that these bytes have to have, and has its content."""
    problems = ended(play, 0)
    made = objects(play) if play.newest() else {}
    for id, body in bodies.items():
        if made.get(id) != name_of(body):
            problems.append(f"{body[:60]!r} is kept as {made.get(id)}")
    held = play.instance.held()
    return problems + [f"{id} can't be read" for id, name in made.items() if name not in held]
