"""Group E: several writers and readers at one folder, and locks of all kinds."""

import json
import os
import shutil
import signal
import threading
import time
from datetime import datetime, timedelta, timezone
from pathlib import Path

from campaign import row
from folders import snapshot
from group_a import garbage, organisation_key, signal_at
from injection import NotRun, namespaces
from invariants import kept, told, whole, within
from programs import CANCELLED, LOCKED
from scene import Scene


def other_host(name):
    return [*namespaces("-Uru"), "sh", "-c", f'hostname {name} && exec "$@"', "sh"]


def this_host():
    return os.uname().nodename


@row("E1", "Two writers on one machine begin at once")
def two_writers(stage):
    scene = Scene(stage)
    refused = 0
    for attempt in range(stage.size(12, 200)):
        instance = scene.reset()
        runs = [stage.programs.start("orvik", *scene.arguments()) for _ in range(2)]
        ends = sorted((run.wait() for run in runs), key=lambda end: end.status or 0)
        problems = [] if ends[0].status == 0 else [f"none succeeds: {ends[0].text()}"]
        if ends[1].status == LOCKED:
            refused += 1
            problems += told(ends[1])
        elif ends[1].status != 0:
            problems.append(f"the second ends otherwise: {ends[1].text()}")
        stage.tally.add(f"attempt {attempt}", problems + scene.recovers(instance, scene.before))
    stage.tally.worst = f"the second was refused {refused} times, else it came after the first"


def lock_record(host, process, heartbeat, run="6F9619FF-8B86-4011-B42D-00CF4FC964FF"):
    def text(date):
        return date.strftime("%Y-%m-%dT%H:%M:%SZ")

    record = {"host": host, "user": "somebody", "processID": process, "startedAt": text(heartbeat),
              "heartbeat": text(heartbeat), "orvikVersion": "0.1.0"}
    if run:
        record["runID"] = run
    return json.dumps(record)


def ago(seconds):
    return datetime.now(timezone.utc) - timedelta(seconds=seconds)


@row("E2", "Two machines take a stale lock at once")
def stale_lock_race(stage):
    scene = Scene(stage)
    doubles = 0
    for attempt in range(stage.size(10, 200)):
        instance = scene.reset()
        instance.lock.write_text(lock_record("an older machine", 1, ago(2000)))
        faults = [stage.fault("rename", [scene.root], "stop", at=1, pattern="/backup.lock", name=f"state-{n}")
                  for n in range(2)]
        runs = [stage.programs.start("orvik", *scene.arguments(), fault=fault, prefix=other_host(f"machine-{n}"))
                for n, fault in enumerate(faults)]
        # Each has found the lock stale and has written its own, but for the name.
        problems = [] if all([run.await_stop() for run in runs]) else ["they did not meet"]
        for run in stage.random.sample(runs, 2):
            run.send(signal.SIGCONT)
            if stage.random.random() < 0.5:
                time.sleep(stage.random.random() * 0.05)
        ends = [run.wait() for run in runs]
        for fault in faults:
            fault.close()
        done = [end.status for end in ends].count(0)
        doubles += done == 2
        problems += [problem for end in ends if end.status != 0 for problem in told(end)]
        stage.tally.add(f"attempt {attempt}", problems + scene.recovers(instance, scene.before))
    stage.tally.worst = f"{doubles} double holders"


def asleep(stage, scene, n, prefix=(), kinds="all"):
    """A run that stands still at its n-th call, and the fault with which its clock is moved."""
    fault = stage.fault(kinds, [scene.root], "stop", at=n, name="sleeper")
    running = stage.programs.start("orvik", *scene.arguments(), fault=fault, prefix=prefix)
    return running, fault, running.await_stop()


@row("E3", "A run sleeps for over 900 seconds, another machine takes over, the first wakes")
def overtaken(stage):
    scene = Scene(stage)
    total = scene.calls("all")
    for n in stage.points(total, 12, 120):
        instance = scene.reset()
        first, fault, sleeps = asleep(stage, scene, n)
        where = f"asleep at call {n} of {total} ({fault.what.replace(str(scene.root), 'ROOT')})"
        if not sleeps or not instance.lock.exists():
            first.send(signal.SIGCONT)
            first.wait()
            fault.close()
            continue
        ahead = stage.fault("none", [scene.root], clock=1000, name="ahead")
        second = stage.programs.run("orvik", *scene.arguments(), fault=ahead, prefix=other_host("newcomer"))
        ahead.close()
        published = instance.backups()
        problems = [] if second.status == 0 else [f"the newcomer fails: {second.text()}"]
        fault.set_clock(1000)
        first.send(signal.SIGCONT)
        end = first.wait()
        fault.close()
        # It had read all and only its own lock was to be given back, or it finds that the folder is another's.
        if end.status != 0:
            problems += told(end)
        problems += kept(stage.programs, instance, published)
        stage.tally.add(where, problems + scene.recovers(instance, published))


@row("E4", "One host name, two spaces of process numbers")
def other_processes(stage):
    scene = Scene(stage)
    namespaces("-Urp")
    total = scene.calls("all")
    for n in stage.points(total, 10, 60):
        instance = scene.reset()
        first, fault, sleeps = asleep(stage, scene, n)
        where = f"held at call {n} of {total}"
        if not sleeps or not instance.lock.exists():
            first.send(signal.SIGCONT)
            first.wait()
            fault.close()
            continue
        # Its own view of processes, as a container has it.
        second = stage.programs.run("orvik", *scene.arguments(),
                                    prefix=["unshare", "-Urpm", "--fork", "--mount-proc"])
        problems = [] if second.status == LOCKED else [f"the live lock is not respected: {second.text()}"]
        first.send(signal.SIGCONT)
        end = first.wait()
        fault.close()
        if end.status != 0:
            problems.append(f"the first fails: {end.text()}")
        stage.tally.add(where, problems + scene.recovers(instance, scene.before))


@row("E5", "Locks of a dead process, of a living one, of another machine, of a process with this number")
def crafted_locks(stage):
    scene = Scene(stage)
    dead = stage.programs.start("orvik", "--version")
    dead.wait()
    own_number = ["unshare", "-Urpm", "--fork", "--mount-proc"]
    cases = [("a dead process", this_host(), dead.pid, 0, (), True), ("a living process", this_host(), 1, 0, (), False),
             ("a living process, silent", this_host(), 1, 901, (), True),
             ("another machine", "elsewhere", dead.pid, 0, (), False),
             ("another machine, nearly silent", "elsewhere", dead.pid, 880, (), False),
             ("another machine, silent", "elsewhere", 1, 905, (), True),
             ("a negative number", this_host(), -7, 0, (), True)]
    for name, host, process, silent, prefix, taken in cases:
        instance = scene.reset()
        instance.lock.write_text(lock_record(host, process, ago(silent)))
        expect(stage, scene, instance, name, prefix, taken)
    namespaces("-Urp")
    for name, run in (("this process's number, unknown run", "6F9619FF-8B86-4011-B42D-00CF4FC964FF"),
                      ("this process's number, no run", None)):
        instance = scene.reset()
        instance.lock.write_text(lock_record(this_host(), 1, ago(0), run))
        expect(stage, scene, instance, name, own_number, True)


def expect(stage, scene, instance, name, prefix, taken):
    end = stage.programs.run("orvik", *scene.arguments(), prefix=prefix)
    if taken:
        problems = [] if end.status == 0 else [f"it should have been taken over: {end.text()}"]
    else:
        problems = [] if end.status == LOCKED else [f"it should have been respected: {end.text()}"]
        problems += told(end) if end.status != 0 else []
        if not instance.lock.exists():
            problems.append("the lock is gone")
        instance.lock.unlink(missing_ok=True)
    stage.tally.add(name, problems + scene.recovers(instance, scene.before))


@row("E6", "A lock that is empty, garbage, of the future, a folder, a link, a pipe or closed")
def odd_locks(stage):
    scene = Scene(stage)
    outside = stage.fresh("outside")
    (outside / "target").write_text("untouched")
    before = snapshot(outside)

    def link(path, target):
        path.symlink_to(target)

    makers = {
        "empty": lambda path: path.write_text(""),
        "garbage": lambda path: path.write_bytes(bytes(range(256)) * 40),
        "half a record": lambda path: path.write_text(lock_record("elsewhere", 1, ago(0))[:60]),
        "a list": lambda path: path.write_text("[1, 2]"),
        "100 MB": lambda path: os.truncate(_made(path), 100_000_000),
        "the future": lambda path: path.write_text(lock_record("elsewhere", 1, ago(-90000))),
        "the year 9999": lambda path: path.write_text(lock_record("elsewhere", 1, datetime(9999, 12, 31))),
        "a folder": lambda path: path.mkdir(),
        "a full folder": lambda path: (path.mkdir(), (path / "x").write_text("x")),
        "a link to a file": lambda path: link(path, outside / "target"),
        "a link to nothing": lambda path: link(path, outside / "nothing"),
        "a link to itself": lambda path: link(path, "backup.lock"),
        "a link to a folder": lambda path: link(path, outside),
        "a pipe": lambda path: os.mkfifo(path),
        "a closed file": lambda path: _made(path).chmod(0),
    }
    commands = [["backup"], ["lock", "show"], ["gc"]]
    for number, (name, make) in enumerate(makers.items()):
        for command in commands[number % 3:number % 3 + 1] if stage.quick else commands:
            instance = scene.reset()
            make(instance.lock)
            words = {"backup": scene.arguments(), "lock": ["lock", "show", instance.path],
                     "gc": ["gc", instance.path, "--yes", "--quiet"]}[command[0]]
            end = stage.programs.run("orvik", *words, timeout=20)
            problems = within(end, 20) + (["it crashed"] if end.crashed else [])
            if end.status and command != ["lock", "show"]:
                problems += told(end)
            problems += [f"outside, {each} changed" for each in snapshot(outside).items() ^ before.items()]
            if instance.lock.is_dir() and not instance.lock.is_symlink():
                shutil.rmtree(instance.lock)
            instance.lock.unlink(missing_ok=True)
            stage.tally.add(f"{name}, {' '.join(command)}", problems + scene.recovers(instance, scene.before))


def _made(path):
    path.write_text("")
    return Path(path)


@row("E7", "A collection of over 900 seconds keeps its lock alive")
def long_collection(stage):
    if stage.quick:
        raise NotRun("it waits for a heartbeat, which takes a minute; in the whole campaign only")
    scene = Scene(stage)
    source = stage.folder / "half"
    garbage(scene, source)
    scene.server.change_to(2)
    instance = scene.reset(source)
    before = instance.backups()
    slow = stage.fault("unlink", [instance.store], "delay:65000", at=1, clock=890, name="slow")
    running = stage.programs.start("orvik", "gc", instance.path, "--yes", "--quiet", fault=slow)
    deadline = time.monotonic() + 30
    while not slow.hits and time.monotonic() < deadline:
        time.sleep(0.01)
    time.sleep(62)
    ahead = stage.fault("none", [scene.root], clock=1000, name="ahead")
    second = stage.programs.run("orvik", *scene.arguments(), fault=ahead, prefix=other_host("newcomer"))
    problems = [] if second.status == LOCKED else [f"the lock is not respected: {second.text()}"]
    end = running.wait(120)
    for fault in (slow, ahead):
        fault.close()
    if end.status != 0:
        problems.append(f"the collection fails: {end.text()}")
    stage.tally.add("a deletion of 65 s", problems + kept(stage.programs, instance, before) + scene.lost(instance))


@row("E8", "No heartbeat can be written for 16 minutes")
def no_heartbeat(stage):
    scene = Scene(stage)
    total = scene.calls("rename")
    for n in stage.points(total - 10, 8, 60):
        instance = scene.reset()
        fault = stage.fault("rename", [scene.root], "stop", at=n + 2, name="sleeper")
        running = stage.programs.start("orvik", *scene.arguments(), fault=fault)
        if not running.await_stop() or not instance.lock.exists():
            running.send(signal.SIGCONT)
            running.wait()
            fault.close()
            continue
        fault.refuse_renames("backup.lock")
        fault.set_clock(960)
        running.send(signal.SIGCONT)
        end = running.wait()
        fault.close()
        problems = told(end)
        if len(instance.backups()) > 1:
            problems.append("it published all the same")
        stage.tally.add(f"silent from rename {n} on", problems + scene.recovers(instance, scene.before))


@row("E9", "Readers in a loop during runs, packing, collections and retention")
def readers(stage):
    scene = Scene(stage)
    instance = scene.reset()
    newest = instance.backups()[-1]
    done = threading.Event()
    alarms, reads, guard = [], [0], threading.Lock()

    def loop(number):
        while not done.is_set():
            backup = (instance.backups() or [newest])[-1]
            command = ["list", instance.path] if number == 0 else ["verify", instance.path, backup]
            end = stage.programs.run("orvikctl", *command)
            with guard:
                reads[0] += 1
                if end.status != 0:
                    alarms.append(f"{command[0]}: {end.text()} {end.out[-200:]!r}")

    threads = [threading.Thread(target=loop, args=(number,)) for number in range(4)]
    for thread in threads:
        thread.start()
    wanted, problems = stage.size(150, 10000), []
    turn = 0
    try:
        while reads[0] < wanted:
            turn += 1
            if turn % 3 == 0:
                scene.server.change_to(1 + turn % 4)
            for command in (scene.arguments(None, "--no-pack"), ["pack", instance.path, "--quiet"],
                            ["gc", instance.path, "--yes", "--quiet"],
                            ["retention", instance.path, "--keep", "4", "--yes", "--quiet"]):
                end = stage.programs.run("orvik", *command)
                if end.status != 0:
                    problems.append(f"{command[0]}: {end.text()}")
    finally:
        done.set()
        for thread in threads:
            thread.join()
    stage.tally.tried, stage.tally.survived = reads[0], reads[0] - len(alarms)
    stage.tally.failures = alarms[:8]
    stage.tally.note = f"{turn} rounds of four writers"
    stage.tally.add("the writers", problems)


@row("E10", "A collection by orvikctl while an interrupted run waits, with and without the key")
def collection_between(stage):
    scene = Scene(stage)
    key = ["--key", organisation_key(stage.folder)]
    sealed = ["--encrypt", *key]
    total = scene.calls("rename")
    for n in stage.points(total - 5, 4, 40):
        for name, more, at_hand in (("plain", [], []), ("sealed, with the key", sealed, key),
                                    ("sealed, without the key", sealed, [])):
            instance = scene.reset()
            fault = stage.fault("rename", [scene.root], "kill", at=n)
            scene.backup(None, *more, fault=fault)
            fault.close()
            stage.programs.run("orvikctl", "gc", instance.path, *at_hand)
            if not more:
                stage.tally.add(f"{name}, killed at rename {n}", scene.recovers(instance, scene.before))
                continue
            end = scene.backup(None, *more)
            problems = [] if end.status == 0 else [f"the next run fails: {end.text()}"]
            for backup in instance.backups():
                problems += whole(stage.programs, instance, backup, key)
            stage.tally.add(f"{name}, killed at rename {n}", problems)


@row("E12", "A run is cancelled at random")
def cancelled(stage):
    scene = Scene(stage)
    total = scene.calls("all")
    slowest = 0.0
    for _ in range(stage.size(20, 300)):
        instance = scene.reset()
        seconds, end, where = signal_at(stage, scene, stage.random.randint(1, total), [signal.SIGTERM])
        if seconds is None:
            continue
        slowest = max(slowest, seconds)
        problems = [] if seconds < 1 else [f"it took {seconds:.2f} s"]
        if end.status not in (0, CANCELLED):
            problems.append(end.text())
        if instance.lock.exists():
            problems.append("the lock is left")
        stage.tally.add(where, problems + scene.recovers(instance, scene.before))
    stage.tally.worst = f"{slowest * 1000:.0f} ms"
    stage.tally.note = "pausing is a matter of the library, and of its tests"


@row("E13", "A renewal of the lock races its release")
def renewal_and_release(stage):
    scene = Scene(stage)
    # Sections end close to each other, and each renews the lock; the last renewal stands next to the release.
    for attempt in range(stage.size(8, 60)):
        instance = scene.reset()
        fault = stage.fault("rename", [scene.root], f"delay:{stage.random.randint(1, 8)}", at=1, until=0,
                            pattern="/backup.lock")
        end = scene.backup(fault=fault)
        fault.close()
        problems = [] if end.status == 0 else [end.text()]
        if instance.lock.exists():
            problems.append("the lock came back")
        stage.tally.add(f"attempt {attempt}", problems + scene.recovers(instance, scene.before))
