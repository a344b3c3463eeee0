"""Plants what each check has to find, and fails when one of them finds nothing: a check that can't fail proves nothing."""

import contextlib
import json
import shutil
import urllib.request
from itertools import chain
from pathlib import Path

import campaign
import self_test_documents
import self_test_downloads
import self_test_tools
from damage import Mixed, calm, check_finds, due_of_verify, flip, sound, verify_says
from fleet import FrontedServer
from folders import Instance, snapshot
from group_d_repair import bytes_below, never_worse
from invariants import kept, no_leftovers, no_secret, same_as, told, whole
from power import Disk, Recorder, VARIANTS
from programs import WARNINGS, End, Programs
from proxy import Rule, sent
from scene import Scene, calls_of


def run(work, programs):
    """The exit status."""
    stage = campaign.Stage(work / "stage", Programs(programs, work), 1, True, "self-test")
    stage.folder.mkdir(parents=True)
    missed = []
    try:
        everything = chain(plants(stage, Scene(stage)), self_test_tools.plants(stage), self_test_downloads.plants(stage),
                           self_test_documents.plants(stage))
        for name, problems in everything:
            print(f"  {'found' if problems else 'MISSED'}  {name}", flush=True)
            if not problems:
                missed.append(name)
    finally:
        stage.close()
    print(f"faults: {len(missed)} checks find nothing" if missed else "faults: self-test passed")
    return 1 if missed else 0


def plants(stage, scene):
    """Each planted fault with what its check says."""
    programs, before = stage.programs, scene.before

    instance = scene.reset()
    shutil.rmtree(instance.backups_path / before[0])
    yield "a backup that is gone", kept(programs, instance, before)

    instance = scene.reset()
    pack = next((instance.store / "packs").glob("*.pack"))
    data = bytearray(pack.read_bytes())
    data[len(data) // 2] ^= 1
    pack.write_bytes(data)
    yield "a flipped byte, by verify", whole(programs, instance, before[0])
    yield "a flipped byte, by the campaign's own reading", scene.lost(instance)

    instance = scene.reset()
    (instance.backups_path / before[0] / "sections" / "scripts.json").unlink()
    yield "an index that is gone", whole(programs, instance, before[0])

    instance = scene.reset()
    index = instance.backups_path / before[0] / "sections" / "scripts.json"
    record = json.loads(index.read_text())
    record["items"].pop()
    index.write_text(json.dumps(record))
    changed = instance.content(before[0]) != Instance(scene.base).content(before[0])
    yield "an item that is gone from an index", ["they differ"] if changed else []

    for name in (".x.tmp", "backups/2025-01-01T000000Z.partial", "backup.lock", "backups/.a.deleted"):
        instance = scene.reset()
        path = instance.path / name
        path.mkdir() if name.endswith(("partial", "deleted")) else path.write_text("x")
        yield f"{name}, left over", no_leftovers(instance)

    instance = scene.reset()
    seen = snapshot(scene.root)
    (instance.path / "instance.json").write_text("{}")
    yield "a file that changed", same_as(seen, scene.root)

    leak = stage.fresh("leak")
    (leak / "log").write_text("x" + programs.secrets[0] + "y")
    yield "a client secret in a file", no_secret(programs, leak)
    (leak / "log").write_text("Authorization: Bearer sample-token-123")
    yield "a token in a file", no_secret(programs, leak)

    for name, end in (("a failure that says nothing", End(1, "", "", 0)),
                      ("a failure that is called success", End(0, "", "orvik: It did not work at all.", 0)),
                      ("a crash", End(-11, "", "", 0)), ("a hang", End(None, "", "", 0)),
                      ("two sentences", End(1, "", "orvik: This one failed today.\norvik: That one too, alas.", 0))):
        yield name, told(end)

    scene.reset()
    scene.server.change_to(3)
    yield "a next run that reads other objects", scene.recovers(Instance(scene.root), before)
    scene.server.change_to(2)

    scene.reset()
    total = calls_of(stage, scene.arguments(), "rename", [scene.root])
    scene.reset()
    fault = stage.fault("rename", [scene.root], "kill", at=total // 2)
    end = scene.backup(fault=fault)
    yield "a kill, by the library that is preloaded", ["killed"] if end.killed and fault.hits == 1 else []
    fault.close()

    yield from of_damage(stage, scene)
    yield from of_power(stage, scene)
    yield from of_server(stage, scene)


def of_damage(stage, scene):
    """What the checks of folders at rest have to find."""
    programs, mixed = stage.programs, Mixed(scene)
    instance = mixed.reset()
    newest = mixed.newest
    single = sorted((instance.store / "objects").glob("*/*.json"))[0]
    line = f"✗ scripts/1: object {single.stem} corrupt"
    yield "a damage that verify does not tell", verify_says(programs, instance, newest, [line])
    yield "a damage that check does not tell", check_finds(programs, instance, single.name)
    flip(single, 3)
    yield "a damage, by the rules of verify", due_of_verify(instance, newest)
    yield "a damage that verify tells and that is none", verify_says(programs, instance, newest, [])
    yield "a damage that is called by another name", check_finds(programs, instance, single.name, kinds=("packCut",))
    yield "a damage in what should be sound", sound(programs, instance)
    instance = mixed.reset()
    before, held = bytes_below(instance.path), instance.held()
    single.unlink()
    yield "content that a repair deleted", never_worse(instance, mixed, before, held)
    instance = mixed.reset()
    pack = next((instance.store / "packs").glob("*.pack"))
    pack.with_suffix(".idx").rename(pack.with_suffix(".away"))
    yield "objects that can't be read after a repair", never_worse(instance, mixed, before, held)
    yield "a crash while reading damage", calm(End(-6, "", "", 0))
    yield "a hang while reading damage", calm(End(None, "", "", 0))


def of_power(stage, scene):
    """That a record tells every operation, and that what was not flushed is lost in what is built from it."""
    scene.reset()
    recorder = Recorder(stage.folder, scene.root)
    scene.succeed(scene.backup(fault=recorder), "the recorded run")
    operations = recorder.operations()
    after, to = snapshot(scene.root), stage.folder / "replayed"
    disk = Disk(scene.root, scene.base)
    for operation in operations[:-1]:
        disk.apply(operation)
    disk.write(to, lambda folder: folder.entries, lambda file: bytes(file.data))
    yield "an operation that a record lacks", ["they differ"] if snapshot(to) != after else []
    first = next(index for index, operation in enumerate(operations) if operation[0] == "W")
    disk = Disk(scene.root, scene.base)
    for operation in operations[:first + 1]:
        disk.apply(operation)
    written = operations[first][3]
    for name in list(VARIANTS)[:2]:
        disk.write(to, *VARIANTS[name](stage.random))
        path = to / Path(written).relative_to(scene.root)
        yield f"a write without a flush, {name}", [] if path.exists() and path.stat().st_size else ["it is lost"]


def of_server(stage, scene):
    """That the scripted server answers as it is told, and tells a request that writes."""
    programs = stage.programs
    server = FrontedServer(programs)
    front = server.front
    with contextlib.suppress(OSError):
        urllib.request.urlopen(urllib.request.Request(front.url + "/JSSResource/buildings", b"x", method="PUT"))
    yield "a request that writes, by the scripted server", front.writing
    for name, how in (("cut short", {"cut": 20}), ("cut in a chunk", {"cut": 20, "chunked": True}),
                      ("reset", {"cut": 20, "reset": True}), ("reset before its head", {"raw": b"", "reset": True})):
        front.forget()
        front.rules = [Rule("/JSSResource/buildings", sent(**how))]
        end = programs.run("orvik", "backup", "--to", scene.empty(name), *server.options(), *scene.options)
        yield f"an answer that is {name}", ["told"] if end.status == WARNINGS else []
    yield "the same once more, when the servers are closed", server.close()
