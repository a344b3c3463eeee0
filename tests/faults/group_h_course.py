"""Group H: the server changes, goes and comes back while a run is under way, and what a whole run asks of it."""

import signal
import threading
from pathlib import Path
from urllib.parse import parse_qs, urlencode

from campaign import row
from fleet import FrontedServer
from folders import Instance
from group_h_bodies import LIST, VERSION, ended
from group_h_lists import SCRIPTS, pages
from invariants import told, whole
from played import Played
from programs import CANCELLED, WARNINGS
from proxy import TOKEN_PATH, Reply, Rule, status

ANYTHING = "/(api/v[0-9]|JSSResource)/.*"
LATER = range(2, 10**6)


def without(numbers, *gone):
    return [each for each in numbers if each not in gone]


CHANGES = {  # what happens between two pages of 450 scripts, and how many of the numbers are read
    "one of the first page is deleted": (lambda page, numbers: numbers if page == 0 else without(numbers, 5), 449),
    "one of the last page is deleted": (lambda page, numbers: numbers if page == 0 else without(numbers, 449), 449),
    "one is new at the beginning": (lambda page, numbers: numbers if page == 0 else [0, *numbers], 450),
    "one is new at the end": (lambda page, numbers: numbers if page == 0 else [*numbers, 451], 451),
    "all are deleted": (lambda page, numbers: numbers if page == 0 else [], 200),
    "their order changes": (lambda page, numbers: numbers if page == 0 else numbers[::-1], None),
}


@row("H16", "A list changes between its pages, an object is deleted, a privilege is lost, the server is upgraded")
def changing_server(stage):
    play = Played(stage)
    for what, (change, count) in stage.some(list(CHANGES.items()), 2):
        play.backup([Rule(SCRIPTS, pages(450, change=change))])
        items = play.instance.index(play.newest(), "scripts")["items"] if play.newest() else []
        different = len({item["id"] for item in items})
        problems = [] if count is None or different == count else [f"{different} scripts"]
        stage.tally.add(f"between pages {what}", ended(play, 0) + problems + play.recovers())
    gone = Rule("/JSSResource/buildings/id/[234]", status(404))
    play.backup([gone])
    messages = {each["message"] for each in play.errors("buildings")} if play.newest() else set()
    problems = [] if messages == {"Deleted while the backup ran (HTTP 404)"} else [f"errors say {messages}"]
    stage.tally.add("three are deleted after the list", play.warned("partial", "buildings", "3 object.*") + problems +
                    play.recovers())
    play.backup([])
    total = len(play.log(ANYTHING))
    for n in stage.points(total - 2, 3, 30):
        play.backup([Rule(ANYTHING, status(403), range(n + 2, 10**6))])
        states = {each["status"] for each in play.sections().values()}
        problems = [] if states <= {"complete", "partial", "notPermitted"} else [f"sections are {sorted(states)}"]
        stage.tally.add(f"all privileges are lost at request {n + 2} of {total}", ended(play, WARNINGS) + problems +
                        play.recovers())
    play.backup([Rule(VERSION, status(200, b'{"version":"99.0.0-t1"}')), Rule(LIST, status(404), LATER)])
    version = play.instance.manifest(play.newest())["jamfProVersion"] if play.newest() else None
    stage.tally.add("another version", ended(play, 0) + ([] if version == "99.0.0-t1" else [f"it is {version}"]) +
                    play.recovers())


def gone_for(front, seconds):
    """The server goes, and comes back after so many seconds, or never when that is None."""

    def do(request):
        front.shut()
        if seconds is not None:
            timer = threading.Timer(seconds, front.open)
            timer.daemon = True
            timer.start()
        return Reply(raw=b"", cut=0, reset=True)

    return do


@row("H17", "The server is gone for a second, for a minute and for ever")
def gone_server(stage):
    play = Played(stage)
    play.backup([])
    total = len(play.log(ANYTHING))
    calm = dict(play.server.pace)
    for n in stage.points(total, 2, 20):
        play.server.pace.update({"--attempts": "6", "--base-delay": "0.4", "--max-delay": "2"})
        play.backup([Rule(ANYTHING, gone_for(play.front, 1), {n})])
        stage.tally.add(f"a second, at request {n} of {total}", play.went_well() + play.checked(play.newest()))
    play.server.pace.update(calm)
    for n in stage.points(total, 3, 20):
        play.backup([Rule(ANYTHING, gone_for(play.front, None), {n})])
        problems = told(play.end) if n == 1 else ended(play, 1, WARNINGS)
        play.front.open()
        stage.tally.add(f"for ever, at request {n} of {total}", problems + play.recovers())
    for n in stage.points(total - 2, 1, 5):
        stage.tally.add(f"for ever, and who waits gives up at request {n + 2} of {total}", given_up(play, n + 2))
    if not stage.quick:
        play.server.pace.update({"--attempts": "12", "--base-delay": "1", "--max-delay": "20"})
        play.backup([Rule(ANYTHING, gone_for(play.front, 60), {total // 2})])
        stage.tally.add("a minute", play.went_well())
    stage.tally.worst = f"{total} requests of a run, one of them the last for each try"


def given_up(play, n):
    """A run that waits for a server that is gone, and is cancelled, is taken up later."""
    play.server.pace.update({"--attempts": "50", "--base-delay": "5", "--max-delay": "5"})
    play.instance = play.scene.reset()
    gone = threading.Event()

    def go(request):
        answer = gone_for(play.front, None)(request)
        gone.set()
        return answer

    play.front.forget([Rule(ANYTHING, go, {n})])
    running = play.scene.programs.start("orvik", *play.scene.arguments())
    problems = [] if gone.wait(30) else ["it never came there"]
    running.send(signal.SIGINT)
    play.end = running.wait(30)
    play.front.open()
    play.server.pace.update({"--attempts": "2", "--base-delay": "0.05", "--max-delay": "0.2"})
    problems += ended(play, CANCELLED) + ([] if play.end.seconds < 10 else [f"it took {play.end.seconds:.0f} s"])
    return problems + ([] if not play.instance.lock.exists() else ["the lock is left"]) + play.recovers()


@row("H18", "The methods of all requests of whole runs")
def methods(stage):
    server = stage.keep(FrontedServer(stage.programs, fleet=stage.size("small", "school")))
    instance = Instance(stage.folder / "root")
    backup = ["backup", "--to", instance.root, "--no-reports", "--quiet"]
    commands = {"a first backup": [*backup, "--classic-devices"], "the next backup": backup,
                "a simulation": ["simulate", "--to", instance.root, "--quiet"], "a look by doctor": ["doctor"],
                "a backup of all devices": [*backup, "--full-refresh"]}
    asked = 0
    for what, command in commands.items():
        server.front.forget()
        pace = server.options() if what != "a look by doctor" else [*server.identity(), "--rate", "0"]
        end = stage.programs.run("orvik", *command, *pace)
        seen = server.front.seen()
        asked += len(seen)
        problems = [] if end.status == 0 else [end.text()]
        problems += [f"{each.method} {each.path}" for each in seen
                     if each.method != "GET" and (each.method, each.path) != ("POST", TOKEN_PATH)]
        problems += [] if len(seen) > 20 else [f"{len(seen)} requests came by here"]
        stage.tally.add(what, problems)
    for made in instance.backups():
        stage.tally.add(made, whole(stage.programs, instance, made))
    stage.tally.worst = f"{len(server.front.writing)} other methods of {asked} requests"


SECRETS = ["a+b", "a%b", "a%2Bb", "a&b=c", "a b", "ü€\U0001f600", "a=b", "a;b", "a#b?c", "a/b\\c", '"quoted"', "a\tb", "+&%", "'",
           "%", "%00", "x" * 4096, "<a>", "a\u2028b", "ends with a blank "]


def wants(server, secret, true):
    """The token call of a server whose client has this secret; the server behind it knows the true one."""

    def do(request):
        form = parse_qs(request.body.decode(), keep_blank_values=True, strict_parsing=True, encoding="utf-8",
                        errors="strict")
        if form.get("client_secret") != [secret] or set(form) != {"grant_type", "client_id", "client_secret"}:
            return Reply(401, body=b'{"error":"invalid_client"}')
        request.body = urlencode({"grant_type": "client_credentials", "client_id": server.client,
                                  "client_secret": true}).encode()
        return request.pass_on()

    return Rule(TOKEN_PATH, do, method="POST")


@row("H19", "A client secret with plus, percent, ampersand and letters of all kinds")
def secrets(stage):
    play = Played(stage)
    obtained = 0
    true_file = play.server.secret_file
    true = Path(true_file).read_text().strip()
    for secret in stage.some(SECRETS, 6):
        stage.programs.secrets.append(secret) if len(secret) > 3 else None
        file = stage.folder / "client-secret"
        file.write_text(secret)
        file.chmod(0o600)
        rule = wants(play.server, secret, true)
        play.server.secret_file = file
        play.backup([rule])
        play.server.secret_file = true_file
        obtained += play.end.status == 0
        problems = play.went_well() if play.end.status == 0 else play.refused("401")
        problems += [] if play.end.status in (0, 12) else [f"status {play.end.status}"]
        stage.tally.add(repr(secret[:20]), problems + play.recovers())
    stage.tally.worst = f"{obtained} of {stage.tally.tried} tokens obtained"
