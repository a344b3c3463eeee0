"""Group F: the calendar's clock jumps or is wrong."""

import math
import re
import signal
import time
from datetime import datetime, timezone

from campaign import NotRun, row
from folders import copy_tree
from invariants import kept
from scene import Scene

DAY = 86400
ID = "%Y-%m-%dT%H%M%SZ"


@row("F1", "The clock jumps a day forward or back in a run")
def jumps(stage):
    scene = Scene(stage)
    total = scene.calls("all")
    for n in stage.points(total, 8, 80):
        for seconds in (DAY, -DAY):
            instance = scene.reset()
            fault = stage.fault("all", [scene.root], "stop", at=n)
            running = stage.programs.start("orvik", *scene.arguments(), fault=fault)
            if running.await_stop():
                fault.set_clock(seconds)
                running.send(signal.SIGCONT)
            end = running.wait(60)
            fault.close()
            problems = [] if end.status == 0 else [end.text()]
            problems += [] if end.seconds < 30 else [f"it took {end.seconds:.0f} s"]
            stage.tally.add(f"{seconds} s at call {n} of {total}", problems + scene.recovers(instance, scene.before))


@row("F2", "A run begins before the newest backup's time")
def backwards(stage):
    scene = Scene(stage)
    for days in (1, 30, 4000):
        instance = scene.reset()
        fault = stage.fault("none", [scene.root], clock=-days * DAY)
        plain = [word for word in scene.arguments(None, "--keep", "1") if word != "--quiet"]
        end = stage.programs.run("orvik", *plain, fault=fault)
        fault.close()
        problems = [] if end.status == 0 else [end.text()]
        made = end.out.split()[-1:] or [""]
        if made[0] not in instance.backups():
            problems.append("the new backup is gone")
        if scene.before[0] not in instance.backups():
            problems.append("the earlier backup is gone")
        if "later" not in end.err:
            problems.append(f"nothing says so: {end.err[-200:]!r}")
        stage.tally.add(f"{days} days back", problems + scene.lost(instance))


@row("F3", "Two runs in one second")
def same_second(stage):
    scene = Scene(stage)
    for attempt in range(stage.size(5, 30)):
        instance = scene.reset()
        ends = [scene.backup() for _ in range(3)]
        problems = [end.text() for end in ends if end.status != 0]
        if len(instance.backups()) != 4:
            problems.append(f"{instance.backups()} are there")
        stage.tally.add(f"attempt {attempt}", problems + scene.recovers(instance, scene.before))


def listed(stage, instance):
    """IDs as `list` prints them, newest first."""
    end = stage.programs.run("orvikctl", "list", instance.path)
    return [line.split()[0] for line in end.out.splitlines() if re.match(r"\d{4}-", line)]


@row("F4", "Clocks of 1970, 2038, a leap day, 2100 and 2200, and IDs up to 9999")
def dates(stage):
    scene = Scene(stage)
    instance = scene.reset()
    for year in ("0001", "1969", "2038", "2400", "9999"):
        copy_tree(instance.backups_path / scene.before[0], instance.backups_path / f"{year}-12-31T235959Z")
    order = sorted(instance.backups(), reverse=True)
    problems = [] if listed(stage, instance) == order else [f"listed as {listed(stage, instance)}"]
    stage.tally.add("IDs of five centuries", problems + kept(stage.programs, instance, scene.before))
    for text in ("1970-01-02T00:00:00", "2038-01-19T03:14:07", "2038-01-19T03:14:08", "2028-02-29T12:00:00",
                 "2100-02-28T23:59:58", "2200-01-01T00:00:00"):
        instance = scene.reset()
        date = datetime.fromisoformat(text).replace(tzinfo=timezone.utc)
        clock = math.ceil(date.timestamp() - time.time())
        fault = stage.fault("none", [scene.root], clock=clock)
        end = scene.backup(fault=fault)
        fault.close()
        latest = datetime.fromtimestamp(time.time() + clock, timezone.utc)
        problems = [] if end.status == 0 else [end.text()]
        new = [each for each in instance.backups() if each not in scene.before]
        if len(new) != 1 or not date.strftime(ID) <= new[0] <= latest.strftime(ID):
            problems.append(f"{new} is the ID")
        if listed(stage, instance) != sorted(instance.backups(), reverse=True):
            problems.append(f"listed as {listed(stage, instance)}")
        problems += [] if new and instance.content(new[0]) == scene.reference else ["it differs from a clean one"]
        stage.tally.add(text, problems + scene.lost(instance))


@row("F5", "A token whose clock is wrong")
def token_clock(stage):
    raise NotRun("it needs a server that the tests of the client script; they are JamfClientTests")


@row("F6", "A schedule across sleep and daylight change")
def schedules(stage):
    raise NotRun("it needs a clock that a test moves; the tests of the schedule do that in their own process")
