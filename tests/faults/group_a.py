"""Group A: the process is killed, and the next run goes on."""

import json
import shutil
import signal
import subprocess
import time
from pathlib import Path

from campaign import row
from folders import Instance, copy_tree
from injection import require
from invariants import kept, whole
from scene import Scene, calls_of

WRITING = "write,sync,syncfolder,unlink,mkdir,truncate,link,chmod"
CHANGING = WRITING + ",rename"


def ended_before(end, fault):
    """Whether the program did well and never came to the fault: no two runs make exactly as many calls."""
    return end.status == 0 and fault.hits == 0


def kill_at_every(stage, scene, calls, quick, full=None, *more, do="kill"):
    """Kills a backup at the n-th of these calls, for each n, and looks whether the next one makes up for it."""
    total = scene.calls(calls, *more)
    slowest = 0.0
    for n in stage.points(total, quick, full):
        instance = scene.reset()
        fault = stage.fault(calls, [scene.root], do, at=n)
        end = scene.backup(None, *more, fault=fault)
        where = f"{n} of {total} ({fault.what.replace(str(scene.root), 'ROOT')})"
        missed = ended_before(end, fault)
        fault.close()
        if missed:
            continue
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


def each_kill(stage, command, instance, prepare, quick, full=None, kinds=CHANGING, below=None):
    """Kills a command at the n-th of these calls, each time on a fresh copy; yields the place and what is wrong so far."""
    below = below or [instance.root]
    prepare()
    total = calls_of(stage, command, kinds, below)
    for n in stage.points(total, quick, full):
        prepare()
        fault = stage.fault(kinds, below, "kill", at=n)
        end = stage.programs.run("orvik", *command, fault=fault)
        where = f"{n} of {total} ({fault.what.replace(str(instance.root), 'ROOT')})"
        missed = ended_before(end, fault)
        fault.close()
        if missed:
            continue
        yield where, [] if end.killed else [f"it was not killed: {end.text()}"]
    stage.tally.note = f"{total} such calls"


@row("A3", "Kill at every call of pack that changes the disk", crash=True)
def kill_in_pack(stage):
    scene = Scene(stage, options=("--no-reports", "--quiet", "--no-pack"))
    source = stage.folder / "loose"
    scene.reset()
    scene.succeed(scene.backup(), "the backup of single files")
    copy_tree(scene.root, source)
    instance = Instance(scene.root)
    before = instance.backups()
    command = ["pack", instance.path, "--quiet"]
    for where, problems in each_kill(stage, command, instance, lambda: scene.reset(source), 15, 200):
        problems += kept(stage.programs, instance, before) + scene.lost(instance)
        end = stage.programs.run("orvik", *command)
        if end.status != 0:
            problems.append(f"the next packing fails: {end.text()}")
        if any((instance.store / "objects").rglob("*/*")):
            problems.append("single files stay behind the next packing")
        problems += kept(stage.programs, instance, before) + scene.lost(instance) + scene.swept(instance)
        stage.tally.add(where, problems)
    stage.tally.worst = f"{stage.tally.objects_lost} objects lost"


def garbage(scene, source):
    """A folder with one backup, a pack that is half garbage and single files that are all garbage."""
    scene.server.change_to(1)
    root = scene.empty("garbage")
    scene.succeed(scene.backup(root, "--no-pack"), "a backup")
    scene.server.change_to(2)
    scene.succeed(scene.backup(root), "a second backup")
    scene.server.change_to(3)
    scene.succeed(scene.backup(root, "--no-pack"), "a third backup")
    instance = Instance(root)
    for backup in (instance.backups()[0], instance.backups()[2]):
        shutil.rmtree(instance.backups_path / backup)
    copy_tree(root, source)


@row("A4", "Kill at every call of gc that changes the disk, with a pack to be written anew", crash=True)
def kill_in_collection(stage):
    scene = Scene(stage)
    source = stage.folder / "half"
    garbage(scene, source)
    instance = scene.reset(source)
    before = instance.backups()
    command = ["gc", instance.path, "--yes", "--quiet"]
    scene.succeed(stage.programs.run("orvik", *command), "a clean collection")
    clean, leaked = instance.bytes(), 0
    for where, problems in each_kill(stage, command, instance, lambda: scene.reset(source), 15, 200):
        problems += kept(stage.programs, instance, before) + scene.lost(instance)
        end = stage.programs.run("orvik", *command)
        if end.status != 0:
            problems.append(f"the next collection fails: {end.text()}")
        problems += kept(stage.programs, instance, before) + scene.lost(instance) + scene.swept(instance)
        leaked = max(leaked, instance.bytes() - clean)
        # The names in a pack that was written anew twice are a little longer.
        if instance.bytes() > clean + 64:
            problems.append(f"{instance.bytes() - clean} bytes more than after a clean collection")
        stage.tally.add(where, problems)
    stage.tally.worst = f"{leaked} bytes leaked"


@row("A5", "Kill at every call of a retention that changes the disk", crash=True)
def kill_in_retention(stage):
    scene = Scene(stage)
    source = stage.folder / "three"
    scene.reset()
    for seed in (2, 3):
        scene.server.change_to(seed)
        scene.succeed(scene.backup(), "a backup")
    copy_tree(scene.root, source)
    instance = Instance(scene.root)
    newest = instance.backups()[-1:]
    command = ["retention", instance.path, "--keep", "1", "--yes", "--quiet"]
    for where, problems in each_kill(stage, command, instance, lambda: scene.reset(source), 12, 200):
        problems += kept(stage.programs, instance, newest) + scene.lost(instance)
        end = stage.programs.run("orvik", *command)
        if end.status != 0:
            problems.append(f"the next retention fails: {end.text()}")
        if instance.backups() != newest:
            problems.append(f"{instance.backups()} are left")
        problems += kept(stage.programs, instance, newest) + scene.lost(instance) + scene.swept(instance)
        stage.tally.add(where, problems)


def organisation_key(folder):
    """A new P-256 key with its certificate in one file of its owner alone."""
    openssl = require("openssl")
    key, certificate, both = folder / "key.pem", folder / "certificate.pem", folder / "organisation.pem"
    subprocess.run([openssl, "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
                    "-keyout", key, "-out", certificate, "-days", "30", "-subj", "/CN=Faults"],
                   check=True, capture_output=True)
    both.write_bytes(key.read_bytes() + certificate.read_bytes())
    both.chmod(0o600)
    return both


@row("A6", "Kill at every call of the first sealed run that changes the disk", crash=True)
def kill_in_first_sealing(stage):
    scene = Scene(stage)
    key = ["--key", organisation_key(stage.folder)]
    command = scene.arguments(None, "--encrypt", *key)
    instance = Instance(scene.root)
    record = instance.path / "encryption.json"
    for where, problems in each_kill(stage, command, instance, scene.reset, 15, 150):
        written = record.read_bytes() if record.exists() else None
        for backup in instance.backups():
            problems += whole(stage.programs, instance, backup, key)
        end = stage.programs.run("orvik", *command)
        if end.status != 0:
            problems.append(f"the next run fails: {end.text()}")
        if written is not None and record.read_bytes() != written:
            problems.append("the key record was replaced")
        backups = instance.backups()
        if backups[:1] != scene.before or len(backups) < 2:
            problems.append(f"{backups} are listed")
        for backup in backups:
            problems += whole(stage.programs, instance, backup, key)
        if "encryption" not in instance.manifest(backups[-1]):
            problems.append("the next run is not sealed")
        stage.tally.add(where, problems)


@row("A7", "Kill at every call of a run with a staging folder that changes the disk", crash=True)
def kill_in_staged_publishing(stage):
    scene = Scene(stage)
    staging = stage.folder / "staging"
    command = scene.arguments(None, "--staging", staging)
    instance = Instance(scene.root)

    def prepare():
        scene.reset()
        shutil.rmtree(staging, ignore_errors=True)

    for where, problems in each_kill(stage, command, instance, prepare, 18, 250, below=[scene.root, staging]):
        problems += scene.recovers(instance, scene.before, "--staging", staging)
        left = [str(each.relative_to(staging)) for each in staging.rglob("*")
                if each.is_file() and each.name != "instance.json"]
        # What a broken write left there goes with a later run, when it is old enough to be nobody's.
        problems += [f"{each} is left in the staging folder" for each in left if not each.endswith(".tmp")]
        stage.tally.add(where, problems)


@row("A8", "Kill in downloads, at each part that is written", crash=True)
def kill_in_downloads(stage):
    scene = Scene(stage, "packages,packageFiles,distributionPoints,jcdsFiles")
    sizes = {item["file"]["sha256"]: item["file"]["size"] for item in
             Instance(scene.root).index(Instance(scene.root).backups()[-1], "packageFiles")["items"]
             if item["file"].get("sha256")}
    known = {item["file"].get("sha256") for item in
             Instance(scene.base).index(scene.before[-1], "packageFiles")["items"]}
    needed = sum(size for name, size in sizes.items() if name not in known)
    command = scene.arguments(None, "--downloads", "1")
    instance, refetched = Instance(scene.root), 0
    for where, problems in each_kill(stage, command, instance, scene.reset, 15, 150, kinds="write",
                                     below=[instance.store / "downloads"]):
        problems += scene.recovers(instance, scene.before)
        audit = (instance.backups_path / instance.backups()[-1] / "audit.jsonl").read_text()
        lines = [json.loads(text) for text in audit.splitlines() if '"download"' in text]
        got = sum(each.get("bytes", 0) for each in lines if each["outcome"] == "ok")
        refetched = max(refetched, got - needed)
        stage.tally.add(where, problems)
    stage.tally.worst = f"{max(0, refetched)} bytes fetched twice"


def signal_at(stage, scene, n, numbers, kinds="all"):
    """A backup that gets signals at its n-th call on the folder. None when it had ended before."""
    fault = stage.fault(kinds, [scene.root], "stop", at=n)
    running = scene.programs.start("orvik", *scene.arguments(), fault=fault)
    where = f"at call {n}"
    if not running.await_stop():
        fault.close()
        return None, running.wait(), where
    where += f" ({fault.what.replace(str(scene.root), 'ROOT')})"
    for number in numbers:
        running.send(number)
    sent = time.monotonic()
    running.send(signal.SIGCONT)
    end = running.wait(30)
    fault.close()
    return time.monotonic() - sent, end, where


@row("A9", "SIGINT, SIGTERM, and a second SIGINT, at random calls")
def signals(stage):
    scene = Scene(stage)
    total = scene.calls("all")
    slowest = 0.0
    for n in stage.points(total, 15, 60):
        for numbers in ([signal.SIGINT], [signal.SIGTERM], [signal.SIGINT, signal.SIGINT]):
            if stage.quick and numbers != [[signal.SIGINT], [signal.SIGTERM], [signal.SIGINT, signal.SIGINT]][n % 3]:
                continue
            instance = scene.reset()
            seconds, end, where = signal_at(stage, scene, n, numbers)
            if seconds is None:
                continue
            slowest = max(slowest, seconds)
            problems = [] if seconds < 2 else [f"it took {seconds:.1f} s"]
            published = end.status == 0 and len(instance.backups()) == 2
            if end.status != 130 and not published:
                problems.append(f"it ended otherwise: {end.text()}")
            # Two signals that come as one, while the process stands still, are one.
            if instance.lock.exists() and len(numbers) == 1:
                problems.append("the lock is left")
            stage.tally.add(f"{where}, {[each.name for each in numbers]}", problems +
                            scene.recovers(instance, scene.before))
    stage.tally.worst = f"{slowest:.2f} s from signal to end"


@row("A10", "Random kills, again and again, until the backup is made", crash=True)
def random_kills(stage):
    scene = Scene(stage)
    most = 0
    for attempt in range(stage.size(2, 5)):
        instance = scene.reset()
        kills = 0
        for _ in range(stage.size(15, 100)):
            fault = stage.fault("all", [scene.root], "kill", at=stage.random.randint(1, 900))
            end = scene.backup(fault=fault)
            fault.close()
            if not end.killed:
                break
            kills += 1
        most = max(most, kills)
        stage.tally.add(f"folder {attempt} after {kills} kills", scene.recovers(instance, scene.before))
    stage.tally.worst = f"up to {most} kills for one backup"


@row("A11", "The journal's last line cut at each byte, and the run goes on", crash=True)
def torn_journals(stage):
    scene = Scene(stage)
    instance = scene.reset()
    fault = stage.fault("rename", [scene.root], "kill", at=scene.calls("rename") // 3)
    scene.reset()
    scene.backup(fault=fault)
    fault.close()
    journals = list(instance.backups_path.glob("*.partial/journal.jsonl"))
    if len(journals) != 1:
        raise RuntimeError(f"{len(journals)} journals are there")
    torn, source = journals[0], stage.folder / "torn"
    whole_text = torn.read_bytes()
    last = len(whole_text.rstrip(b"\n").rpartition(b"\n")[2])
    copy_tree(scene.root, source)
    for cut in stage.points(last + 1, 15, 200):
        scene.reset(source)
        torn.write_bytes(whole_text[:-cut])
        fault = stage.fault("rename", [scene.root], "kill", at=40)
        end = scene.backup(fault=fault)
        fault.close()
        problems = [] if end.killed else [f"it was not killed: {end.text()}"]
        bad = 0
        for text in torn.read_bytes().splitlines():
            try:
                json.loads(text)
            except ValueError:
                bad += 1
        if bad > 1:
            problems.append(f"{bad} lines of the journal are damaged")
        if len(torn.read_bytes()) <= len(whole_text) - cut:
            problems.append("nothing was added to the journal")
        stage.tally.add(f"{cut} bytes short", problems + scene.recovers(instance, scene.before))


@row("A12", "Kill while the reports are written", crash=True)
def kill_in_reports(stage):
    scene = Scene(stage, options=("--quiet",))
    instance = Instance(scene.root)
    scene.reset()
    kinds = CHANGING + ",open,close"
    total = scene.calls(kinds, pattern=".pdf")
    for n in stage.points(total, 12, 60):
        scene.reset()
        fault = stage.fault(kinds, [scene.root], "kill", at=n, pattern=".pdf")
        end = scene.backup(fault=fault)
        where = f"{n} of {total} ({Path(fault.what).name})"
        fault.close()
        problems = [] if end.killed else [f"it was not killed: {end.text()}"]
        if len(instance.backups()) != 2:
            problems.append("the backup is not published")
        for report in instance.backups_path.glob("*/*.pdf"):
            data = report.read_bytes()
            if not report.name.startswith(".") and (not data.startswith(b"%PDF") or b"%%EOF" not in data[-1024:]):
                problems.append(f"{report.name} is not whole")
        stage.tally.add(where, problems + scene.recovers(instance, scene.before))
