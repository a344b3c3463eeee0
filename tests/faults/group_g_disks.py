"""Group G, continued: file systems that fold the case of names, and such as rename a folder by copying it."""

import json
import shutil
import signal
import subprocess
import time
import unicodedata

from campaign import row
from fleet import Server
from folders import Instance
from injection import HERE, NotRun
from invariants import kept, told
from scene import Scene


def names_library(stage):
    """names.c, built."""
    compiler = shutil.which("cc")
    if not compiler:
        raise NotRun("there is no C compiler")
    library = stage.folder / "names.so"
    made = subprocess.run([compiler, "-shared", "-fPIC", "-O1", "-o", library, HERE / "names.c", "-ldl"],
                          capture_output=True, text=True)
    if made.returncode:
        raise NotRun("the library of names can't be built: " + made.stderr.strip()[:200])
    return library


def twins(folder):
    """Names in one folder that a folding file system takes for one, and how many names were looked at."""
    seen, found = {}, []
    for path in [folder, *folder.rglob("*")]:
        if path == folder:
            continue
        key = (path.parent, unicodedata.normalize("NFC", unicodedata.normalize("NFC", path.name).casefold()))
        if key in seen:
            found.append(f"{path.name} and {seen[key]} in {path.parent.name}")
        seen[key] = path.name
    return found, len(seen)


def respelled(instance):
    """The folder as a service gives it back that spells folders its own way."""
    for each in sorted(instance.store.glob("*/??")):
        each.rename(each.with_name(each.name.upper()))


@row("G4", "A folder where names that differ in case are one")
def folded_names(stage):
    scene = Scene(stage)
    library = names_library(stage)
    collisions = looked = 0
    for seed in range(1, stage.size(2, 9)):
        server = stage.keep(Server(stage.programs, seed=seed, fleet="school" if seed % 4 == 0 else "small"))
        root = stage.fresh(f"all-{seed}")
        end = stage.programs.run("orvik", "backup", "--to", root, *server.options(), "--quiet", "--no-pack",
                                 "--no-reports", "--classic-devices")
        found, count = twins(root)
        looked, collisions = looked + count, collisions + len(found)
        stage.tally.add(f"all sections of seed {seed}", found + ([] if end.status == 0 else [end.text()]))
        exported = stage.fresh(f"export-{seed}")
        instance = Instance(root)
        backup = instance.backups()[-1]
        for section in instance.declared(backup):
            if len(instance.index(backup, section)["items"]) < 2:
                continue
            end = stage.programs.run("orvik", "export", root / "127.0.0.1", section, "--out", exported / section, "--json")
            wanted = [json.loads(line)["path"] for line in end.out.splitlines() if '"event":"file"' in line]
            found, _ = twins(exported / section)
            there = [each for each in (exported / section).rglob("*") if each.is_file()]
            if len(wanted) != len(set(wanted)) or len(there) != len(wanted):
                found.append(f"{len(wanted)} files are told, {len(there)} are there")
            collisions += len(found)
            stage.tally.add(f"export of {section} of seed {seed}", found)
        shutil.rmtree(root)
    folding = {"LD_PRELOAD": str(library), "NAMES_FOLD": "1", "NAMES_BELOW": str(scene.root)}
    for name in ("as it is", "folders in capitals"):
        instance = scene.reset()
        scene.succeed(scene.backup(None, "--no-pack"), "a backup")
        before = instance.backups()
        if name != "as it is":
            respelled(instance)
        problems = []
        for words in (scene.arguments(None, "--no-pack"), ["check", instance.path], ["gc", instance.path, "--yes"],
                      ["pack", instance.path], ["check", instance.path], ["gc", instance.path, "--yes"]):
            end = stage.programs.run("orvik", *words, environment=folding)
            problems += [] if end.status == 0 else [f"{words[0]}: {end.text()}"]
        problems += kept(stage.programs, instance, before)
        if len(instance.backups()) != len(before) + 1:
            problems.append("there is no new backup")
        stage.tally.add(f"a folder that folds, {name}", problems + scene.recovers(instance, before))
    stage.tally.worst = f"{collisions} collisions among {looked} names"


def half_published(stage, scene, instance, library, files, last):
    """A run that stands still when so many files of its folder have got their new place; its ID, and what ended it."""
    environment = {"LD_PRELOAD": str(library), "NAMES_COPY": "20", "NAMES_BELOW": str(scene.root)}
    if last:
        environment["NAMES_LAST"] = "manifest.json"
    running = stage.programs.start("orvik", *scene.arguments(), environment=environment)
    deadline = time.monotonic() + 60
    while running.running() and time.monotonic() < deadline:
        new = [each for each in instance.backups_path.iterdir()
               if each.name not in scene.before and not each.name.endswith(".partial")]
        if new and sum(each.is_file() for each in new[0].rglob("*")) >= files:
            running.send(signal.SIGSTOP)
            return running, new[0].name
        time.sleep(0.001)
    return running, ""


def put_away(stage, instance, backup):
    """A backup that was seen and will never be whole is told of, and goes."""
    if not backup or backup not in instance.backups():
        return []
    end = stage.programs.run("orvik", "check", instance.path, "--quiet")
    shutil.rmtree(instance.backups_path / backup)
    return [] if end.status == 4 and backup in end.out else [f"the examination does not tell of {backup}"]


@row("G8", "A folder is renamed by copying and deletion, slowly",
     known="publishing is the rename of a folder; where that copies the manifest ahead of the rest, readers see the backup "
           "too early, and orvik doctor says so of such a place")
def slow_renames(stage):
    scene = Scene(stage)
    library = names_library(stage)
    early = 0
    for last in (True, False):
        for files in stage.points(8, 3):
            for deed in ("goes on", "is killed"):
                instance = scene.reset()
                running, backup = half_published(stage, scene, instance, library, files, last)
                where = f"{files} files there, the manifest {'last' if last else 'first'}, the run {deed}"
                problems = [] if backup else [f"it published too fast: {running.wait().text()}"]
                half = kept(stage.programs, instance, scene.before)
                early += bool(half)
                problems += half
                end = stage.programs.run("orvik", "gc", instance.path, "--yes", "--quiet")
                problems += told(end) if end.status != 0 else []
                if deed == "goes on":
                    running.send(signal.SIGCONT)
                    end = running.wait()
                    problems += [] if end.status == 0 else [f"the run: {end.text()}"]
                else:
                    running.send(signal.SIGKILL)
                    running.wait()
                    end = stage.programs.run("orvik", "gc", instance.path, "--yes", "--quiet", "--with-unfinished")
                    problems += told(end) if end.status != 0 else []
                    problems += put_away(stage, instance, backup) if half else []
                stage.tally.add(where, problems + scene.recovers(instance, scene.before))
    place = stage.fresh("examined")
    end = stage.programs.run("orvik", "doctor", *scene.server.options()[:6], "--to", place,
                             environment={"LD_PRELOAD": str(library), "NAMES_COPY": "1", "NAMES_BELOW": str(place)})
    stage.tally.add("what doctor says", [] if "one step" in end.out + end.err or "rename" in end.out.lower() else [end.out])
    stage.tally.worst = f"seen too early {early} times"
