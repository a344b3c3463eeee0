"""Group A: the process is killed, and the next run goes on."""

import signal
import time

from campaign import row
from folders import Instance
from scene import Scene

WRITING = "write,sync,unlink,mkdir,truncate,link,chmod"


def kill_at_every(stage, scene, calls, quick, full=None, *more, do="kill"):
    """Kills a backup at the n-th of these calls, for each n, and looks whether the next one makes up for it."""
    total = scene.calls(calls, *more)
    slowest = 0.0
    for n in stage.points(total, quick, full):
        instance = scene.reset()
        fault = stage.fault(calls, [scene.root], do, at=n)
        end = scene.backup(None, *more, fault=fault)
        where = f"{n} of {total} ({fault.what.replace(str(scene.root), 'ROOT')})"
        fault.close()
        problems = [] if end.killed else [f"it was not killed: {end.text()}"]
        started = time.monotonic()
        problems += scene.recovers(instance, scene.before, *more)
        slowest = max(slowest, time.monotonic() - started)
        stage.tally.add(where, problems)
    stage.tally.note = f"{total} such calls"
    stage.tally.worst = f"next run and checks {slowest:.1f} s"


@row("A1", "Kill at every rename of a run", crash=True)
def kill_at_renames(stage):
    kill_at_every(stage, Scene(stage), "rename", quick=20)


@row("A2", "Kill at writes, flushes, deletions and new folders of a run, half written or before", crash=True)
def kill_at_writes(stage):
    scene = Scene(stage)
    kill_at_every(stage, scene, WRITING, 16, 500)
    kill_at_every(stage, scene, "write", 8, 100, do="torn")
