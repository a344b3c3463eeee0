"""Group D: bytes that change, shrink or go while nobody looks."""

import json

from campaign import row
from damage import FILES, OBJECTS, Mixed, calm, check_finds, checked, due_of_verify, flip, restored, sound, verify_says
from folders import Instance, copy_tree
from group_a import garbage
from group_e import ago, lock_record
from invariants import kept, told
from programs import LOCKED
from scene import Scene


def backup_with(instance, due):
    """The newest backup of which `verify` has something to say, with that."""
    for backup in reversed(instance.backups()):
        lines = due(instance, backup)
        if lines:
            return backup, lines
    raise RuntimeError("the damage hurts nobody")


def targets(mixed):
    """Files with content, by kind."""
    store = Instance(mixed.root).store
    return {"object": sorted(store.glob("objects/*/*.json")), "pack": sorted(store.glob("packs/*.pack")),
            "package file": sorted(store.glob("files/*/*"))}


@row("D1", "One flipped byte in object, pack and package file")
def flipped_content(stage):
    mixed = Mixed(Scene(stage))
    instance = mixed.reset()
    kinds = targets(mixed)
    for attempt in range(stage.size(24, 1000)):
        kind = list(kinds)[attempt % 3]
        path = stage.random.choice(kinds[kind])
        at, bit = stage.random.randrange(path.stat().st_size), stage.random.randrange(8)
        flip(path, at, bit)
        backup, due = backup_with(instance, due_of_verify)
        problems = verify_says(stage.programs, instance, backup, due)
        if attempt % 4 < 2:
            problems += check_finds(stage.programs, instance, path.name)
        flip(path, at, bit)
        stage.tally.planted(f"{kind}, bit {bit} of byte {at} of {path.name}", problems)
    stage.tally.add("all turned back", sound(stage.programs, instance))
    stage.tally.worst = f"{stage.tally.damage_found} of {stage.tally.damage_planted} flips named, nothing else"


def ran(stage, *commands):
    """All of these at once, for those that only read."""
    running = [stage.programs.start(*command) for command in commands]
    return [each.wait(30) for each in running]


def flips(stage, name, path, prepare, act):
    """Flips bytes of a file of a fresh folder; `act` gives what is wrong afterwards."""
    prepare()
    size = path.stat().st_size
    for _ in range(stage.size(2, 200)):
        prepare()
        at, bit = stage.random.randrange(size), stage.random.randrange(8)
        with restored(path):
            flip(path, at, bit)
            problems = act()
        yield f"{name}, bit {bit} of byte {at}", problems


def read_all(stage, instance):
    """What a damaged record does to those who read: none crashes or hangs."""
    ends = ran(stage, ("orvikctl", "list", instance.path), ("orvikctl", "verify", instance.path),
               ("orvik", "check", instance.path, "--json"))
    return [problem for end in ends for problem in calm(end)]


@row("D2", "One flipped byte in manifest, indexes, pack index, state, lock, audit log and instance record")
def flipped_records(stage):
    scene = Scene(stage, f"{OBJECTS},{FILES}")
    programs = stage.programs
    half, broken = stage.folder / "half", stage.folder / "broken"
    scene.reset()
    fault = stage.fault("rename", [scene.root], "kill", at=scene.calls("rename") // 2)
    scene.reset()
    scene.backup(fault=fault)
    fault.close()
    copy_tree(scene.root, broken)
    garbage(scene, half)
    scene.server.change_to(2)
    instance = scene.reset(half)
    before = instance.backups()
    newest = instance.backups_path / before[-1]
    out = stage.fresh("out")

    def collect():
        problems = read_all(stage, instance)
        end = programs.run("orvik", "gc", instance.path, "--yes", "--quiet")
        return problems + calm(end) + (told(end) if end.status else [])

    def report():
        end = programs.run("orvikctl", "report", instance.path, "--out", out)
        return read_all(stage, instance) + ([] if end.status == 0 else [f"the reports fail: {end.text()}"])

    def backup(statuses=()):
        end = scene.backup()
        problems = calm(end)
        if end.status:
            problems += told(end)
        if statuses and end.status not in statuses:
            problems.append(f"the run ends with {end.text()}")
        return problems

    cases = {
        "manifest": (newest / "manifest.json", collect),
        "index": (newest / "sections" / "scripts.json", collect),
        "index of package files": (newest / "sections" / "packageFiles.json", collect),
        "pack index": (next((instance.store / "packs").glob("*.idx")), collect),
        "audit log": (newest / "audit.jsonl", report),
        "instance record": (instance.path / "instance.json", lambda: read_all(stage, instance) + backup()),
    }
    for name, (path, act) in cases.items():
        for where, problems in flips(stage, name, path, lambda: scene.reset(half), act):
            stage.tally.add(where, problems + kept(programs, instance, before) + scene.lost(instance))

    scene.reset(broken)
    state = next(instance.backups_path.glob("*.partial")) / "state.json"
    instance.lock.unlink(missing_ok=True)
    for _ in range(stage.size(2, 200)):
        scene.reset(broken)
        at, bit = stage.random.randrange(state.stat().st_size), stage.random.randrange(8)
        flip(state, at, bit)
        problems = read_all(stage, instance) + backup()
        stage.tally.add(f"state, bit {bit} of byte {at}", problems + scene.recovers(instance, scene.before))

    text = lock_record("elsewhere", 4711, ago(2000))
    for _ in range(stage.size(2, 200)):
        scene.reset()
        instance.lock.write_text(text)
        at, bit = stage.random.randrange(len(text)), stage.random.randrange(8)
        flip(instance.lock, at, bit)
        problems = read_all(stage, instance) + backup((0, LOCKED))
        instance.lock.unlink(missing_ok=True)
        stage.tally.add(f"lock, bit {bit} of byte {at}", problems + scene.recovers(instance, scene.before))
    stage.tally.worst = f"{stage.tally.objects_lost} objects lost"


@row("D3", "A pack that is cut: to nothing, one byte, amid an entry, at the end of one")
def cut_packs(stage):
    mixed = Mixed(Scene(stage))
    instance = mixed.reset()
    pack = max((instance.store / "packs").glob("*.pack"), key=lambda path: path.stat().st_size)
    ends = sorted(sum(place) for place in json.loads(pack.with_suffix(".idx").read_text())["objects"].values())
    size = pack.stat().st_size
    points = {0, 1, size - 1, *stage.random.sample(ends[:-1], stage.size(2, 20))}
    while len(points) < stage.size(6, 50):
        points.add(stage.random.randrange(1, size))
    for length in sorted(points):
        with restored(pack) as data:
            pack.write_bytes(data[:length])
            backup, due = backup_with(instance, due_of_verify)
            problems = verify_says(stage.programs, instance, backup, due)
            problems += check_finds(stage.programs, instance, pack.name, kinds=("packCut",))
            gone = sum(length < each for each in ends)
            if len({line.split()[3] for line in due}) != gone:
                problems.append(f"{gone} entries are gone, {len(due)} are told")
        stage.tally.planted(f"{length} of {size} bytes", problems)
    stage.tally.add("the pack put back", sound(stage.programs, instance))


@row("D4", "An object, a pack, a pack index, an index, a manifest or a package file that is gone")
def deleted(stage):
    mixed = Mixed(Scene(stage))
    instance = mixed.reset()
    kinds = targets(mixed)
    newest = instance.backups_path / mixed.newest
    files = [("object", path) for path in stage.random.sample(kinds["object"], stage.size(2, 20))]
    files += [("package file", path) for path in stage.random.sample(kinds["package file"], stage.size(1, 10))]
    files += [("pack", path) for path in kinds["pack"]]
    files += [("pack index", path.with_suffix(".idx")) for path in kinds["pack"]]
    indexes = sorted((newest / "sections").iterdir())
    files += [("index", path) for path in stage.random.sample(indexes, stage.size(3, len(indexes)))]
    for kind, path in files:
        with restored(path):
            path.unlink()
            backup, due = backup_with(instance, due_of_verify)
            problems = verify_says(stage.programs, instance, backup, due)
            end, findings = checked(stage.programs, instance)
            if end.status != 4:
                problems.append(f"check ends with {end.text()}")
        stage.tally.planted(f"{kind} {path.name}", problems)
    for backup in mixed.backups:
        manifest = instance.backups_path / backup / "manifest.json"
        with restored(manifest):
            manifest.unlink()
            end = stage.programs.run("orvikctl", "verify", instance.path, backup)
            problems = [] if end.status == 1 and end.sentence == "orvikctl: no such backup" else [end.text()]
            problems += check_finds(stage.programs, instance, f"{backup}/manifest.json", kinds=("manifestMissing",))
            if backup in stage.programs.run("orvikctl", "list", instance.path).out:
                problems.append("it is listed")
        stage.tally.planted(f"manifest of {backup}", problems)
    stage.tally.add("all put back", sound(stage.programs, instance))
