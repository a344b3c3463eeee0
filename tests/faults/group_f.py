"""Group F: the calendar's clock jumps or is wrong."""

import math
import re
import signal
import time
from collections import Counter
from datetime import datetime, timedelta, timezone

from campaign import row
from fleet import SECTIONS, Server
from folders import Instance, copy_tree
from invariants import kept, whole
from played import Played
from proxy import TOKEN_PATH, Reply, Rule
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
    play = Played(stage)
    play.scene.options += ["--concurrency", "1"]  # side by side a request may be under way with a token that ends
    extra = 0
    for life in stage.some([1, 2, 3, 5, 8, 13, 30], 3):
        tokens = EarlyEnds(life)
        play.backup([Rule("/(api/v[0-9]|JSSResource)/.*", tokens)])
        refused = len(tokens.ended)
        problems = [f"{tokens.reused} requests with a token that had been refused"] if tokens.reused else []
        if refused == 0:
            problems.append("no token ended")
        if len(play.log(TOKEN_PATH)) > refused + 1:
            problems.append(f"{len(play.log(TOKEN_PATH))} tokens for {refused} that ended")
        extra = max(extra, 2 * refused)
        stage.tally.add(f"tokens end after {life} requests, not 20 minutes", problems + play.went_well() + play.recovers())
    stage.tally.worst = f"{extra} extra requests"


class EarlyEnds:
    """A server whose clock is ahead: a token is refused after so many requests, long before it says."""

    def __init__(self, life):
        self.life = life
        self.used = Counter()
        self.ended = set()
        self.reused = 0

    def __call__(self, request):
        token = request.headers.get("authorization")
        self.reused += token in self.ended
        self.used[token] += 1
        if self.used[token] <= self.life:
            return request.pass_on()
        self.ended.add(token)
        return Reply(status=401)


class Planned:
    """A registered server and its schedule, under a clock and in a time zone that a try sets."""

    def __init__(self, stage, zone):
        self.stage = stage
        self.zone = zone
        self.attempts = 0
        self.server = stage.keep(Server(stage.programs, seed=1))
        self.succeed(self.at(None, "instances", "add", "--name", "Planned", "--url", self.server.url, "--client-id",
                             self.server.client, "--secret-file", self.server.secret_file))

    @staticmethod
    def succeed(end):
        if end.status != 0:
            raise RuntimeError(f"the schedule can't be tried: {end.text()}")

    def at(self, moment, *arguments):
        """A command at that moment, ISO 8601 with a zone; None for now."""
        clock = math.ceil(datetime.fromisoformat(moment).timestamp() - time.time()) if moment else 0
        fault = self.stage.fault("none", [self.stage.folder], clock=clock)
        end = self.stage.programs.run("orvik", *arguments, "--quiet", fault=fault, environment={"TZ": self.zone})
        fault.close()
        return end

    def left(self):
        end = self.at(None, "schedule", "list", "--json")
        return sum('"run"' in line for line in end.out.splitlines())

    def attempt(self, plans, starts):
        """Plans, each a moment and a text for `--at`; starts of the schedule, each with how many backups it makes."""
        self.attempts += 1  # each in a folder of its own, as none may look emptied
        instance = Instance(self.stage.folder / f"planned-{self.attempts}")
        if self.left():
            self.succeed(self.at(None, "schedule", "remove", "--instance", "Planned"))
        for moment, text in plans:
            self.succeed(self.at(moment, "schedule", "add", "Planned", "--at", text))
        problems, made = [], 0
        for moment, expected in starts:
            end = self.at(moment, "schedule", "run", "--to", instance.root, "--only", SECTIONS, "--rate", "0",
                          "--no-reports")
            made, before = len(instance.backups()), made
            if end.status != 0:
                problems.append(f"at {moment}: {end.text()}")
            if made - before != expected:
                problems.append(f"at {moment} there were {made - before} backups instead of {expected}")
        if left := self.left():
            problems.append(f"{left} runs are still planned")
        for backup in instance.backups():
            problems += whole(self.stage.programs, instance, backup)
        return problems


# Moments and texts of plans, then starts of the schedule and the backups that each makes. Berlin's clock goes forward at
# 2027-03-28 02:00 and back at 2027-10-31 03:00.
DUE_RUNS = {
    "asleep over two runs": ([("2027-01-10T12:00+01:00", "22:00"), ("2027-01-10T12:00+01:00", "23:30")],
                             [("2027-01-10T21:59+01:00", 0), ("2027-01-12T08:00+01:00", 1),
                              ("2027-01-12T08:01+01:00", 0)]),
    "asleep over one, the other ahead": ([("2027-01-10T12:00+01:00", "22:00"), ("2027-01-10T12:00+01:00", "09:00")],
                                         [("2027-01-11T08:00+01:00", 1), ("2027-01-11T09:00+01:00", 1),
                                          ("2027-01-11T09:01+01:00", 0)]),
    "an hour that the clock passes over": ([("2027-03-27T23:00+01:00", "02:30")],
                                           [("2027-03-28T01:59:50+01:00", 0), ("2027-03-28T03:31+02:00", 0),
                                            ("2027-03-29T02:31+02:00", 1), ("2027-03-29T03:31+02:00", 0)]),
    "a time right after that hour": ([("2027-03-27T23:00+01:00", "03:00")],
                                     [("2027-03-28T01:59:50+01:00", 0), ("2027-03-28T03:00:05+02:00", 1),
                                      ("2027-03-28T04:00+02:00", 0)]),
    "an hour that comes twice": ([("2027-10-30T12:00+02:00", "2027-10-31 02:30")],
                                 [("2027-10-31T02:29+02:00", 0), ("2027-10-31T02:31+02:00", 1),
                                  ("2027-10-31T02:29+01:00", 0), ("2027-10-31T02:31+01:00", 0)]),
    "a clock that is set back after the run": ([("2027-01-10T12:00+01:00", "22:00")],
                                               [("2027-01-10T22:01+01:00", 1), ("2027-01-10T21:00+01:00", 0),
                                                ("2027-01-10T22:01+01:00", 0)]),
}


def random_due_runs(stage):
    """Runs at random hours of ten days, and a machine that wakes at random."""
    begin = datetime(2027, 3, 24, tzinfo=timezone.utc)
    dice = stage.random
    plans = sorted(begin + timedelta(minutes=dice.randrange(1, 14400)) for _ in range(4))
    wakes = sorted(begin + timedelta(minutes=dice.randrange(14400)) for _ in range(5))
    wakes.append(begin + timedelta(days=11))
    starts, last = [], begin
    for wake in wakes:
        starts.append((wake.isoformat(), int(any(last < plan <= wake for plan in plans))))
        last = wake
    return [(begin.isoformat(), plan.isoformat()) for plan in plans], starts


@row("F6", "A schedule across sleep and daylight change")
def schedules(stage):
    planned = Planned(stage, "Europe/Berlin")
    for where, (plans, starts) in DUE_RUNS.items():
        stage.tally.add(where, planned.attempt(plans, starts))
    for attempt in range(stage.size(2, 30)):
        stage.tally.add(f"random {attempt}", planned.attempt(*random_due_runs(stage)))
