"""Plants what each check has to find, and fails when one of them finds nothing: a check that can't fail proves nothing."""

import contextlib
import json
import shutil
import urllib.request
from itertools import chain

import campaign
import self_test_downloads
import self_test_tools
from fleet import FrontedServer
from folders import Instance, snapshot
from invariants import kept, no_leftovers, no_secret, same_as, told, whole
from programs import WARNINGS, End, Programs
from proxy import Rule, first, sent
from scene import Scene, calls_of


def run(work, programs):
    """The exit status."""
    stage = campaign.Stage(work / "stage", Programs(programs, work), 1, True, "self-test")
    stage.folder.mkdir(parents=True)
    missed = []
    try:
        everything = chain(plants(stage, Scene(stage)), self_test_tools.plants(stage), self_test_downloads.plants(stage))
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

    server = FrontedServer(programs)
    front = server.front
    with contextlib.suppress(OSError):
        urllib.request.urlopen(urllib.request.Request(front.url + "/JSSResource/buildings", b"x", method="PUT"))
    yield "a request that writes, by the scripted server", front.writing
    for name, how in (("cut short", {"cut": 20}), ("cut in a chunk", {"cut": 20, "chunked": True}),
                      ("reset", {"cut": 20, "reset": True}), ("reset before its head", {"raw": b"", "reset": True})):
        front.forget()
        front.rules = [Rule("/JSSResource/buildings", sent(**how), first(4))]
        end = programs.run("orvik", "backup", "--to", scene.empty(name), *server.options(), *scene.options)
        yield f"an answer that is {name}", ["told"] if end.status == WARNINGS else []
    yield "the same once more, when the servers are closed", server.close()
