"""Group H: the server refuses, with every status that there is."""

import re

from campaign import row
from fleet import FrontedServer
from folders import Instance
from invariants import whole
from played import Played
from programs import WARNINGS
from proxy import TOKEN_PATH, Rule, first, status, token
from scene import Scene

LIST, OBJECT = "/JSSResource/buildings", "/JSSResource/buildings/id/[0-9]+"
ANYTHING = "/(api/v[0-9]|JSSResource)/.*"


@row("H1", "401 once, for ever, and from the token call")
def unauthorized(stage):
    play = Played(stage)
    play.scene.options += ["--concurrency", "1"]  # side by side each may fetch a token of its own
    play.backup([])
    total, tokens = len(play.log(ANYTHING)), len(play.log(TOKEN_PATH))

    def fetched(count):
        asked = len(play.log(TOKEN_PATH))
        return [] if asked == count else [f"{asked} requests for a token"]

    def attempt(where, rules, check, count):
        play.backup(rules)
        stage.tally.add(where, check() + fetched(count) + play.recovers())

    def refused_by_status():
        return play.refused("401") + ([] if play.end.status == 12 else [f"status {play.end.status}"])

    for n in stage.points(total, 2):
        attempt(f"401 for request {n} of {total}", [Rule(ANYTHING, status(401), {n})], play.went_well, tokens + 1)
    attempt("401 for one list", [Rule(LIST, status(401))],
            lambda: play.warned("failed", "buildings", r"Jamf Pro .*\(401\).*"), tokens + 1)
    attempt("401 for everything", [Rule(ANYTHING, status(401))], lambda: play.refused("401"), 2)
    attempt("401 from the token call", [Rule(TOKEN_PATH, status(401, b'{"error":"invalid_client"}'), method="POST")],
            refused_by_status, 1)
    if not stage.quick:
        attempt("401 from the second token call",
                [Rule(LIST, status(401), {1}), Rule(TOKEN_PATH, status(401), {2}, method="POST")],
                lambda: play.warned("failed", "buildings", ".*401.*"), 3)
        play.server.pace["--attempts"] = "4"
        attempt("503 from the token call, twice", [Rule(TOKEN_PATH, status(503), first(2), method="POST")],
                play.went_well, 3)
    stage.tally.worst = "one more token call for each"


LIVES = [0, 1, 30, 60, 61, -1, 599, 10**9, 2**63 - 1]
NO_LIVES = ["599", None, 2**63, 59.5, [599], 1e300]


@row("H2", "A token that lives 0, 1, 30, 60, 61 seconds, less than none, or that says no such thing")
def token_lives(stage):
    play = Played(stage)
    figures = []
    for life in stage.some(LIVES, 3):
        play.backup([token(expires_in=life)])
        tokens, requests = len(play.log(TOKEN_PATH)), len(play.log(ANYTHING))
        figures.append(f"{tokens / requests:.2g} at {life} s")
        # A token with a minute left is not used again. 61 seconds are good for what is asked in the first of them.
        most = requests if life <= 61 else 1
        problems = [] if tokens <= most else [f"{tokens} token calls for {requests} requests"]
        stage.tally.add(f"{life} s", problems + play.went_well() + warned_of(play, life) + play.recovers())
    for life in stage.some(NO_LIVES, 1):
        play.backup([token(expires_in=life)])
        stage.tally.add(f"expires_in {life!r}", play.refused("decode") + play.recovers())
    for name in stage.some(["access_token", "token_type"], 1):
        play.backup([token(**{name: None})])
        stage.tally.add(f"no {name}", play.refused("decode") + play.recovers())
    for body in stage.some([b"", b"<html>", b"[]", b"\xff" * 64, b'{"access_token":'], 1):
        play.backup([Rule(TOKEN_PATH, status(200, body), method="POST")])
        stage.tally.add(f"a token answer {body[:20]}", play.refused("decode") + play.recovers())
    stage.tally.worst = "token calls per request: " + ", ".join(figures[:6])


def warned_of(play, life):
    """`doctor` tells a life that makes every request cost a token, and no other."""
    play.front.rules = [token(expires_in=life)]
    end = play.stage.programs.run("orvik", "doctor", *play.server.identity(), "--rate", "0")
    play.front.rules = []
    said = "every request costs" in end.out + end.err
    return [] if said == (life <= 60) else [f"doctor says {'so' if said else 'nothing'} of {life} s: {end.text()}"]


LIST_SUMMARIES = {
    403: (WARNINGS, "notPermitted", r'Not permitted \(HTTP 403\)\. Add "[^"]+" to the API role\.'),
    404: (0, "notAvailable", r"Not available on this Jamf Pro version \(HTTP 404\)\."),
}
OBJECT_ERRORS = {403: "Not permitted (HTTP 403)", 404: "Deleted while the backup ran (HTTP 404)"}


def paths_of(sources):
    """Of a section, as regular expressions: where its list is read, and where its objects, if anywhere else."""
    own = {key: "/" + path.replace("userid|groupid", "(userid|groupid)") for key, path in sources.items()}
    listed = own.get("list") or own.get("pro") or own["classic"]
    if listed == "/api/v2/mobile-devices/detail":
        listed += "|/api/v2/mobile-devices"  # the list of servers that have not the other
    details = [path.replace("{id}", "[^/]+") for key, path in own.items() if "{id}" in path]
    return listed, details


def one_section(stage, server, section, rules, number):
    """A first backup of one section alone, and what its summary is."""
    server.front.forget()
    server.front.rules = rules
    instance = Instance(stage.folder / f"root-{number}")
    end = stage.programs.run("orvik", "backup", "--to", instance.root, *server.options(), "--only", section,
                             "--no-reports", "--quiet")
    server.front.rules = []
    made = instance.backups()
    if len(made) != 1:
        return end, instance, None, [f"{len(made)} backups: {end.text()}"]
    summary = next(each for each in instance.manifest(made[0])["sections"] if each["id"] == section)
    return end, instance, summary, whole(stage.programs, instance, made[0])


@row("H3", "403 and 404 for the list and for one object of each section")
def refused_sections(stage):
    server = stage.keep(FrontedServer(stage.programs))
    all_of_them = Instance(stage.folder / "all")
    end = stage.programs.run("orvik", "backup", "--to", all_of_them.root, *server.options(), "--no-reports", "--quiet")
    Scene.succeed(end, "the backup of all sections")
    backup = all_of_them.backups()[0]
    tries = []
    for section in all_of_them.declared(backup):
        index = all_of_them.index(backup, section)
        if section == "packageFiles":  # it reads no list; its summary is that of its downloads
            continue
        listed, details = paths_of(index["sources"])
        tries += [(section, listed, code, None) for code in (403, 404)]
        if index["items"]:
            tries += [(section, "|".join(details), code, len(index["items"])) for code in (403, 404) if details]
    stage.tally.note = f"{len(all_of_them.declared(backup))} sections; package files read no list of their own"
    for number, (section, path, code, count) in enumerate(stage.some(tries, 10)):
        at = first(1) if count else None
        end, instance, summary, problems = one_section(stage, server, section, [Rule(path, status(code), at)], number)
        if summary:
            problems += (object_problems if count else list_problems)(end, instance, summary, code, count)
        stage.tally.add(f"{code} for {path}", problems)


def list_problems(end, instance, summary, code, count):
    ended, state, message = LIST_SUMMARIES[code]
    problems = [] if end.status == ended else [f"it ended otherwise: {end.text()}"]
    if summary["status"] != state or not re.fullmatch(message, summary.get("message", "")):
        problems.append(f"{summary['status']}: {summary.get('message')!r}")
    return problems + (["it has an index"] if "index" in summary else [])


def object_problems(end, instance, summary, code, count):
    problems = [] if end.status == WARNINGS else [f"it ended otherwise: {end.text()}"]
    index = instance.index(instance.backups()[0], summary["id"])
    if summary["status"] != "partial" or summary["message"] != "1 object(s) could not be read":
        problems.append(f"{summary['status']}: {summary.get('message')!r}")
    if [each["message"] for each in index["errors"]] != [OBJECT_ERRORS[code]] or len(index["items"]) != count - 1:
        problems.append(f"{len(index['items'])} of {count} objects, errors {index['errors']}")
    return problems


BASE, MOST = 0.1, 0.3
JITTERED = "jittered"
WAITS = {  # a status and its Retry-After: seconds to wait, or those of the policy
    (429, "0.6"): 0.6, (429, "1"): 1.0, (429, "1000000000"): 5 * MOST, (429, "1e9"): 5 * MOST,
    (429, "Wed, 21 Oct 2026 07:28:00 GMT"): JITTERED, (429, "0"): JITTERED, (429, "-5"): JITTERED,
    (429, "soon"): JITTERED, (429, ""): JITTERED, (429, None): JITTERED, (429, "nan"): JITTERED,
    (503, "1"): JITTERED, (408, None): JITTERED, (425, None): JITTERED, (500, None): JITTERED, (501, None): JITTERED,
    (502, None): JITTERED, (503, None): JITTERED, (504, None): JITTERED, (599, None): JITTERED,
}
NEVER_REPEATED = [400, 402, 405, 406, 409, 410, 412, 418, 422, 451, 499, 600, 304, 305]


def wait_is_right(seconds, attempt, wanted):
    if wanted == JITTERED:
        wanted = min(BASE * 2 ** (attempt - 1), MOST)
        low, high = 0.8 * wanted, 1.2 * wanted
    else:
        low = high = wanted
    return low - 0.005 <= seconds <= high + 0.5  # what comes on top is the exchange itself, on a busy machine


@row("H4", "408, 425, 429 with all kinds of Retry-After, 500 to 504")
def waits(stage):
    play = Played(stage)
    play.server.pace.update({"--base-delay": str(BASE), "--max-delay": str(MOST), "--attempts": "4"})
    right = measured = 0
    cases = [(code, after, wanted, count) for (code, after), wanted in WAITS.items() for count in (3, 4)]
    for code, after, wanted, count in stage.some(cases, 3):
        headers = [("Retry-After", after)] if after is not None else []
        play.backup([Rule(LIST, status(code, b"", *headers), first(count))])
        seen = play.front.waits(LIST)
        good = [wait_is_right(seconds, attempt, wanted) for attempt, seconds in enumerate(seen, 1)]
        right, measured = right + sum(good), measured + 3
        problems = [] if len(seen) == 3 and all(good) else [f"waits {[round(each, 2) for each in seen]}"]
        problems += play.went_well() if count == 3 else play.warned("failed", "buildings")
        stage.tally.add(f"{code}, Retry-After {after}, {count} times", problems + play.recovers())
    for code in stage.some(NEVER_REPEATED, 1):
        play.backup([Rule(LIST, status(code))])
        problems = [] if len(play.log(LIST)) == 1 else [f"{len(play.log(LIST))} requests"]
        stage.tally.add(f"{code}", problems + play.warned("failed", "buildings", rf".*\({code}\).*"))
    stage.tally.worst = f"{right}/{measured} waits right"
