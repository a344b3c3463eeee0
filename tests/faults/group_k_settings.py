"""Group K, continued: files of the user that are damaged, or open to others."""

import os
import shutil

from campaign import row
from damage import calm
from fleet import Server
from invariants import told

def prepared(stage, server):
    """A home with a server, a run in the schedule, a setting and an organization; where its files are."""
    secret = ["--secret-file", server.secret_file]
    at = ["--url", server.url, "--client-id", server.client, *secret]
    data = stage.programs.home / "data" / "orvik"
    secrets = []
    for words in (["instances", "add", "--name", "School", *at], ["orgs", "add", "--name", "School", *at],
                  ["schedule", "add", "School", "--in", "100"], ["config", "set", "KeepCount", "7"]):
        end = stage.programs.run("orvik", *words)
        if end.status != 0:
            raise RuntimeError(f"{words[0]}: {end.text()}")
        secrets += [each for each in (data / "secrets").rglob("*") if each.is_file()]
    return {"instances": data / "instances.json", "schedule": data / "schedule.json",
            "settings": next((stage.programs.home / "config").rglob("*.json")),
            "organizations": data / "organizations.sqlite", "secret": secrets[0]}


def rewrite(path, content):
    path.write_bytes(content)


DAMAGE = {
    "nothing": lambda path: rewrite(path, b""),
    "half": lambda path: rewrite(path, path.read_bytes()[:path.stat().st_size // 2]),
    "a byte less": lambda path: rewrite(path, path.read_bytes()[:-1]),
    "zeros": lambda path: rewrite(path, bytes(path.stat().st_size)),
    "garbage": lambda path: rewrite(path, bytes(range(256)) * 20),
    "another record": lambda path: rewrite(path, b'{"version": 99, "what": [1, 2, {"a": null}]}'),
    "null": lambda path: rewrite(path, b"null"),
    "numbers": lambda path: rewrite(path, b"[1, 1e400, -0, 18446744073709551616]"),
    "depth": lambda path: rewrite(path, b"[" * 200_000),
    "no UTF-8": lambda path: rewrite(path, b'[{"name": "\xff\xfe"}]'),
    "a byte order mark": lambda path: rewrite(path, b"\xef\xbb\xbf" + path.read_bytes()),
    "200 MB": lambda path: os.truncate(path, 200_000_000),
    "a folder": lambda path: (path.unlink(), path.mkdir()),
    "a pipe": lambda path: (path.unlink(), os.mkfifo(path)),
    "a link to itself": lambda path: (path.unlink(), path.symlink_to(path.name)),
    "a link to nothing": lambda path: (path.unlink(), path.symlink_to(path.parent / "no" / "where")),
    "open to all": lambda path: path.chmod(0o666),
    "open to a group": lambda path: path.chmod(0o640),
}
READING = {"instances": [["instances", "list"], ["instances", "test", "School"], ["status", "--to", "ROOT"]],
           "schedule": [["schedule", "list"], ["schedule", "run", "--to", "ROOT"], ["status", "--to", "ROOT"]],
           "settings": [["config", "show"], ["status", "--to", "ROOT"]],
           "organizations": [["orgs", "list"], ["relations", "group", "1", "--org", "School"]],
           "secret": [["instances", "test", "School"], ["backup", "--instance", "School", "--only", "buildings", "--to", "ROOT"]]}
WRITING = {"instances": ["instances", "remove", "School", "--yes"], "schedule": ["schedule", "add", "School", "--in", "3"],
           "settings": ["config", "set", "KeepDays", "3"], "organizations": ["orgs", "rename", "School", "Other"], "secret": None}
# A file of these says nothing by itself that others may not know; the secret's alone must be closed to them.
HARMLESS = ("open to all", "open to a group")


def content(path):
    if path.is_symlink():
        return os.readlink(path)
    return path.read_bytes() if path.is_file() else path.exists()


@row("K8", "Settings, lists of servers, schedule, organizations and secrets, damaged or open to others")
def damaged_files(stage):
    server = stage.keep(Server(stage.programs))
    files = prepared(stage, server)
    keep = stage.folder / "keep"
    shutil.copytree(stage.programs.home, keep, symlinks=True)
    tries = [(kind, damage) for kind in files for damage in DAMAGE]
    for kind, damage in stage.random.sample(tries, 14) if stage.quick else tries:
        shutil.rmtree(stage.programs.home)
        shutil.copytree(keep, stage.programs.home, symlinks=True)
        path = files[kind]
        DAMAGE[damage](path)
        damaged, problems, ends = content(path), [], []
        for words in READING[kind]:
            end = stage.programs.run("orvik", *[str(stage.folder) if each == "ROOT" else each for each in words], timeout=30)
            ends.append(end)
            problems += [f"{words[0]} {words[1]}: {each}" for each in calm(end, 10)]
            if end.status not in (0, 5, 10) and len(end.err.strip()) < 20:
                problems.append(f"{words[0]} {words[1]} says nothing: {end.text()}")
        if content(path) != damaged:
            problems.append("it was written over by who only read it")
        if kind == "secret" and damage in HARMLESS and any(end.status == 0 for end in ends):
            problems.append("a secret that others can read is used")
        if WRITING[kind]:
            end = stage.programs.run("orvik", *WRITING[kind], timeout=30)
            problems += [f"{WRITING[kind][0]}: {each}" for each in calm(end, 10)]
            if end.status != 0:
                problems += told(end)
                problems += ["it was written over by who failed"] if content(path) != damaged else []
            elif (kind, damage) not in SOUND and damage not in (*HARMLESS, *EMPTY) and kind not in TOLERANT:
                problems.append("it was written over though nobody could read it")
        stage.tally.add(f"{damage} in place of the {kind}", problems)


# No bytes are an empty list, and settings that can't be read count as none.
EMPTY = ("a link to nothing",)
TOLERANT = ("settings",)
# A database knows where it ends, and one of no bytes is one of no tables.
SOUND = (("organizations", "200 MB"), ("organizations", "nothing"))
