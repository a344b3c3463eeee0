"""Group D: pack indexes that lie, and those that are lost."""

import json

from campaign import row
from damage import Mixed, calm, flip, restored, sound, stored, verify_says
from folders import snapshot
from group_a import organisation_key
from invariants import kept, same_as
from scene import Scene

HUGE = 2**63 - 1


def ranges(change):
    """A pack index whose ranges are changed, one by one."""
    return lambda record: json.dumps({**record, "objects": {name: change(*place)
                                                            for name, place in record["objects"].items()}})


def member(name, value):
    return lambda record: json.dumps({**record, name: value})


def without(name):
    return lambda record: json.dumps({key: value for key, value in record.items() if key != name})


def named(change):
    return lambda record: json.dumps({**record, "objects": {change(name): place
                                                            for name, place in record["objects"].items()}})


# What may stand in a pack index that nobody of ours wrote. `outside` is a pack beyond the folder, `other` one in it.
CRAFTED = {
    "negative offsets": ranges(lambda start, length: [-1 - start, length]),
    "negative lengths": ranges(lambda start, length: [start, -length]),
    "both negative": ranges(lambda start, length: [-start - 1, -length]),
    "the largest offset": ranges(lambda start, length: [HUGE, length]),
    "the largest length": ranges(lambda start, length: [start, HUGE]),
    "a sum beyond 64 bits": ranges(lambda start, length: [2**62 + start, 2**62 + length]),
    "a sum that wraps around to the range": ranges(lambda start, length: [start - 2**63, HUGE]),
    "an offset beyond 64 bits": ranges(lambda start, length: [2**64 + start, length]),
    "a length beyond 64 bits": ranges(lambda start, length: [start, 2**64 + length]),
    "fractions": ranges(lambda start, length: [start + 0.5, length]),
    "texts": ranges(lambda start, length: [str(start), str(length)]),
    "three numbers": ranges(lambda start, length: [start, length, 0]),
    "one number": ranges(lambda start, length: [start]),
    "no numbers": ranges(lambda start, length: []),
    "nulls": ranges(lambda start, length: None),
    "objects for ranges": ranges(lambda start, length: {"offset": start, "length": length}),
    "lists in lists": ranges(lambda start, length: [[start], [length]]),
    "all over the whole file": ranges(lambda start, length: [0, 50_000]),
    "one byte further": ranges(lambda start, length: [start + 1, length]),
    "one byte longer": ranges(lambda start, length: [start, length + 1]),
    "empty ranges": ranges(lambda start, length: [start, 0]),
    "an infinite length": lambda record: json.dumps(record).replace(", ", ", 1e400], [", 1),
    "another pack": member("pack", "other.pack"),
    "a pack outside, by a relative path": member("pack", "../../../../outside/outside.pack"),
    "a pack outside, by its path": member("pack", "OUTSIDE"),
    "a record in place of a pack": member("pack", "../../instance.json"),
    "no pack's name": without("pack"),
    "an empty name of a pack": member("pack", ""),
    "the folder itself": member("pack", "."),
    "the folder above": member("pack", ".."),
    "a name with a zero byte": member("pack", "other.pack\0.pack"),
    "a number for a pack": member("pack", 7),
    "a pack that is not there": member("pack", "nothing.pack"),
    "names that are paths": named(lambda name: "../../../../outside/" + name),
    "names in capitals": named(str.upper),
    "names that are too long": named(lambda name: name * 200),
    "a list of objects": member("objects", [1, 2, 3]),
    "no objects": without("objects"),
    "another version": member("formatVersion", 99),
    "no JSON": lambda record: "pack",
    "half a record": lambda record: json.dumps(record)[:-300],
    "nesting": lambda record: "[" * 100_000 + "]" * 100_000,
    "nothing": lambda record: "",
}


@row("D5", "Pack indexes with ranges, names and paths that no writer makes")
def crafted_indexes(stage):
    mixed = Mixed(Scene(stage))
    instance = mixed.reset()
    packs = instance.store / "packs"
    index = next(packs.glob("*.idx"))
    outside = stage.fresh("outside")
    (outside / "outside.pack").write_bytes(index.with_suffix(".pack").read_bytes())
    (outside / "outside.pack").chmod(0o600)
    untouched = snapshot(outside)
    names = list(CRAFTED)
    for name in stage.random.sample(names, 5) if stage.quick else names:
        mixed.reset()
        (packs / "other.pack").write_bytes(index.with_suffix(".pack").read_bytes()[::-1])
        crafted = CRAFTED[name](json.loads(index.read_text())).replace("OUTSIDE", str(outside / "outside.pack"))
        problems = []
        with restored(index):
            index.write_text(crafted)
            before = instance.backups()
            for command in (("orvikctl", "verify", instance.path), ("orvik", "check", instance.path, "--quiet"),
                            ("orvik", "gc", instance.path, "--yes", "--quiet"), ("orvikctl", "pack", instance.path),
                            ("orvik", "export", instance.path, "scripts", "--out", stage.fresh("out")),
                            ("orvik", "repair", instance.path, "--yes", "--quiet")):
                fault = stage.fault("open,unlink,rename,write", [outside])
                end = stage.programs.run(*command, fault=fault)
                problems += calm(end)
                if fault.count:
                    problems.append(f"{command[1]} goes outside")
                fault.close()
                if command[1] == "verify" and end.status == 0 and not readable(instance, crafted, packs):
                    problems.append("verify finds nothing")
        problems += same_as(untouched, outside)
        if instance.backups() != before:
            problems.append("a backup is gone")
        stage.tally.add(name, problems + mends(mixed, instance))


def readable(instance, crafted, packs):
    """Whether an index leads to each object's own bytes, as one of another version does."""
    try:
        record = json.loads(crafted)
        return record["pack"] == index_pack(packs, record) and all(
            stored(instance, name) is not None for name in record["objects"])
    except (ValueError, KeyError, TypeError, AttributeError):
        return False


def index_pack(packs, record):
    return next((each.name for each in packs.glob("loose-*.pack") if each.name == record["pack"]), None)


def mends(mixed, instance):
    """What gc and a repair left, with the next run, is whole again: they deleted nothing."""
    scene = mixed.scene
    scene.programs.run("orvik", "repair", instance.path, "--yes", "--quiet")
    end = scene.backup()
    problems = [] if end.status == 0 else [f"the next run fails: {end.text()}"]
    return problems + kept(scene.programs, instance, mixed.backups) + sound(scene.programs, instance)


def refer(instance, backups):
    return {name for backup in backups for name in instance.names(backup)}


@row("D6", "A pack index is lost and its pack is whole, or is damaged too")
def lost_pack_indexes(stage):
    mixed = Mixed(Scene(stage))
    instance = mixed.reset()
    pack = next((instance.store / "packs").glob("*.pack"))
    index = pack.with_suffix(".idx")
    entries = json.loads(index.read_text())["objects"]
    back = wanted = 0
    for attempt in range(stage.size(5, 80)):
        mixed.reset()
        harm = ("whole", "flipped", "cut")[attempt % 3]
        hurt = set()
        if harm == "flipped":
            name, (start, length) = stage.random.choice(sorted(entries.items()))
            flip(pack, start + stage.random.randrange(length))
            hurt = {name}
        elif harm == "cut":
            size = stage.random.randrange(pack.stat().st_size)
            pack.write_bytes(pack.read_bytes()[:size])
            hurt = {name for name, place in entries.items() if sum(place) > size}
        lose = ("gone", "empty", "half")[attempt // 3 % 3]
        index.unlink() if lose == "gone" else index.write_text("" if lose == "empty" else index.read_text()[:900])
        end = stage.programs.run("orvik", "repair", instance.path, "--yes", "--quiet")
        problems = calm(end) + ([] if end.status == 0 else [f"the repair ends with {end.text()}"])
        listed = {name for each in index.parent.glob("*.idx") for name in json.loads(each.read_text())["objects"]}
        held = instance.held()
        due = entries.keys() - hurt
        back += len(due & held)
        wanted += len(due)
        if not due <= held:
            problems.append(f"{len(due - held)} sound entries are not found again")
        if hurt & listed:
            problems.append(f"{len(hurt & listed)} damaged entries are listed")
        stage.tally.planted(f"index {lose}, pack {harm}", problems + mends(mixed, instance))
    sealed_pack(stage, mixed)
    stage.tally.worst = f"{back} of {wanted} entries back"


def sealed_pack(stage, plain):
    """A sealed pack's entries prove themselves by opening with the key."""
    key = ["--key", organisation_key(stage.folder)]
    sealed = Mixed(plain.scene, "--encrypt", *key, name="sealed")
    instance = sealed.reset()
    pack = next((instance.store / "packs").glob("*.pack"))
    names = set(json.loads(pack.with_suffix(".idx").read_text())["objects"])
    for hurt in (False, True):
        sealed.reset()
        pack.with_suffix(".idx").unlink()
        if hurt:
            flip(pack, pack.stat().st_size // 2)
        end = stage.programs.run("orvik", "repair", instance.path, "--yes", "--quiet", *key)
        listed = {name for each in pack.parent.glob("*.idx") for name in json.loads(each.read_text())["objects"]}
        problems = [] if end.status == 0 else [f"the repair ends with {end.text()}"]
        if len(names & listed) < len(names) - hurt:
            problems.append(f"{len(names & listed)} of {len(names)} entries are listed again")
        run = plain.scene.backup(None, *key)
        if run.status != 0:
            problems.append(f"the next run fails: {run.text()}")
        for backup in sealed.backups:
            problems += verify_says(stage.programs, instance, backup, [], key)
        stage.tally.planted(f"sealed, {'one entry flipped' if hurt else 'whole'}", problems)
