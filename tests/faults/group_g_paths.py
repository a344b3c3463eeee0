"""Group G, continued: odd names beside ours, and odd paths to the folder."""

import json
import os
import shutil

from campaign import row
from damage import calm
from folders import Instance
from group_g import chosen, newest
from invariants import told
from scene import Scene
from tending import SECTIONS, lasting, two_backups

ODD_NAMES = (b"\xff\xfe\x80", b"line\nfeed", b"\x1b[31mred\x1b[0m", b"\xc3", b"x" * 255, "ä".encode() * 127,
             "\u202egnp.exe".encode(), b"tab\tand\x07bell", b"\x7f\xc2\x9b1m", b" ", b"-rf", "e\u0301".encode(),
             b"%s%n", b"\\", b"\"'`$(x)", b"\xed\xa0\x80", b"\xf4\x90\x80\x80")
PLACES_OF_NAMES = ("root", "instance", "backups", "a copy of a backup", "partial", "sections", "packs", "objects",
                   "files", "downloads")


def bytes_said(stage, program, *words):
    """How a program ended, and what it really said: outputs and remarks, in bytes."""
    running = stage.programs.start(program, *words)
    running.process.wait(60)
    said = [path.read_bytes() for path in running.paths]
    return running.wait(), said


def unprintable(said):
    """Whatever would reach a terminal and is no text."""
    problems = []
    for data in said:
        try:
            text = data.decode()
        except UnicodeDecodeError:
            return [f"what it says is no UTF-8: {data[:200]!r}"]
        # Blanks that don't break stand in dates.
        odd = {each for each in text if not each.isprintable() and each not in "\n\u00a0\u202f"}
        problems += [f"it says {odd!r}"] if odd else []
    return problems


def place_odd(instance, place, name):
    """The path of something of that name, in the tree of a folder."""
    path = os.fsencode({"root": instance.root, "instance": instance.path, "backups": instance.backups_path,
                        "a copy of a backup": instance.backups_path, "partial": instance.backups_path,
                        "sections": newest(instance) / "sections", "packs": instance.store / "packs",
                        "objects": next((instance.store / "objects").iterdir()), "files": instance.store / "files",
                        "downloads": instance.store / "downloads"}[place])
    suffix = {"partial": b".partial", "packs": b".pack", "sections": b".json", "objects": b".json"}.get(place, b"")
    name = name[:255 - len(suffix)] + suffix
    path = os.path.join(path, name)
    if place == "a copy of a backup":
        shutil.copytree(os.fsencode(newest(instance)), path)
    elif place in ("partial", "files"):
        os.mkdir(path)
    else:
        with open(path, "wb") as file:
            file.write(b"{}")
    return path


@row("G7", "Names that are no UTF-8, hold line feeds or escapes, or have 255 bytes, beside ours")
def odd_names(stage):
    scene = Scene(stage, SECTIONS)
    source = two_backups(scene, stage.folder / "two")
    for place, name in chosen(stage, [(place, name) for place in PLACES_OF_NAMES for name in ODD_NAMES], 6, 80):
        instance = scene.reset(source)
        before = instance.backups()
        path = place_odd(instance, place, name)
        problems = []
        for words in (["check", instance.path], ["check", instance.root, "--json"], ["sections", instance.path],
                      ["gc", instance.path, "--dry-run"], ["repair", instance.path, "--dry-run", "--json"],
                      ["retention", instance.path, "--keep", "1", "--dry-run"], ["stats", instance.path],
                      ["lock", "show", instance.path], ["status", "--to", instance.root]):
            end, said = bytes_said(stage, "orvik", *words)
            problems += [f"{words[0]}: {each}" for each in calm(end) + unprintable(said)]
            if "--json" in words:
                [json.loads(line) for line in said[0].splitlines()]
        problems += calm(stage.programs.run("orvikctl", "list", instance.path))
        shutil.rmtree(path) if os.path.isdir(path) else os.unlink(path)
        problems += lasting(scene, instance, before, Instance(source)) + scene.recovers(instance, before)
        stage.tally.add(f"{name[:20]!r} in {place}", problems)


def long_path(base, length):
    """A folder whose path has so many bytes."""
    path = str(base)
    while length - len(path) > 201:
        path += "/" + "d" * 199
    return path + "/" + "e" * (length - len(path) - 1)


def paths_of(stage):
    """What is given to the programs, for what folder they shall take it to be, from where they are started."""
    base = stage.fresh("paths")
    here = stage.programs.place
    for name in ("with blanks", " ", "'single' \"double\"", "line\nfeed", "back\\slash", "$HOME", "-rf", "%s%n", "#?&;", "ä 学校 🏫",
                 "e\u0301", "a:b", "*", "~", "tab\t", ".hidden", "x.partial", "backups", "store"):
        yield repr(name), base / name, base / name, here
    yield "a slash behind", f"{base}/slash/", base / "slash", here
    yield "many slashes", f"{base}//many///slashes//", base / "many" / "slashes", here
    yield "dots", f"{base}/./dots/../dots/.", base / "dots", here
    yield "relative", "relative/root", base / "relative" / "root", base
    yield "relative, with a dot", "./relative2", base / "relative2", base
    yield "upwards", "../paths/upwards", base / "upwards", base
    yield "here", ".", base / "here", base / "here"
    yield "with a hyphen", "-hyphen", base / "-hyphen", base
    for length in (1000, 3000, 3800, 3900, 3950, 4000, 4090, 5000):
        yield f"{length} bytes", long_path(base / str(length), length), None, here


@row("G9", "The folder's path has blanks, quotes, 4000 bytes, is relative or ends in a slash")
def odd_paths(stage):
    scene = Scene(stage)
    cases = list(paths_of(stage))
    for name, given, meant, here in chosen(stage, cases, 12):
        here.mkdir(parents=True, exist_ok=True)
        words = [f"--to={given}" if each == given else each for each in scene.arguments(given) if each != "--to"]
        end = stage.programs.run("orvik", *words, cwd=here)
        problems = calm(end)
        if end.status != 0:
            # The system knows no path of more than 4095 bytes, and the folder's files have some below it.
            problems += told(end) if len(str(given)) > 3800 else [end.text()]
            stage.tally.add(name, problems + left_below(given))
            continue
        instance = Instance(meant or given)
        backups = instance.backups()
        if len(backups) != 1 or instance.content(backups[0]) != scene.reference:
            problems.append(f"{backups} is what it made")
        at = os.path.join(given, "127.0.0.1")
        at = at if not at.startswith("-") else "./" + at
        for program, *words in (("orvikctl", "verify"), ("orvik", "check"), ("orvik", "sections"), ("orvik", "gc", "--yes"),
                                ("orvik", "pack")):
            looked = stage.programs.run(program, words[0], at, *words[1:], cwd=here)
            if looked.status != 0:
                problems.append(f"{words[0]}: {looked.text()}")
        stage.tally.add(name, problems)


def left_below(given):
    """A refused run leaves at most the record that says whose folder it is."""
    found = [os.path.join(folder, name) for folder, _, names in os.walk(given) for name in names if name != "instance.json"]
    return [f"{len(found)} files are left, as {os.path.basename(found[0])}"] if found else []
