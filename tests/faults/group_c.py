"""Group C: the disk fails, is full, is slow, or is not there."""

import errno
import os
import resource
import shutil
import signal

from campaign import row
from folders import Instance, snapshot
from group_a import garbage
from injection import MemoryWatch, namespaces, other_user
from invariants import kept, same_as, told, whole, within
from programs import WARNINGS
from scene import Scene, calls_of


def warned(instance):
    """A backup that could not read something says of each such object, or of its section, why."""
    backup = instance.backups()[-1]
    if instance.manifest(backup)["status"] != "completeWithWarnings":
        return ["the manifest of a backup with warnings has none"]
    reasons = [each["message"] for section in instance.declared(backup)
               for each in instance.index(backup, section)["errors"]]
    reasons += [each["message"] for each in instance.manifest(backup)["sections"] if each["status"] == "failed"]
    if not reasons:
        return ["nothing says what could not be read"]
    return [f"a reason that says nothing: {each}" for each in reasons if len(each) < 20]


def after_error(scene, instance, end, where):
    """A run that met an error tells it, or has made up for it; either way the next one makes a whole backup."""
    problems = within(end, 60)
    if end.status == 0:
        if instance.content(instance.backups()[-1]) != scene.reference:
            problems.append("it claims success, but its backup differs from a clean one")
    elif end.status == WARNINGS:
        problems += warned(instance)
    else:
        problems += told(end)
    scene.stage.tally.add(where, problems + scene.recovers(instance, scene.before))


def each_error(stage, scene, kinds, deeds, quick, full, *more):
    """A backup for each deed and each of these calls, the calls spread over the run."""
    total = scene.calls(kinds, *more)
    for deed in deeds:
        for n in stage.points(total, quick, full):
            instance = scene.reset()
            fault = stage.fault(kinds, [scene.root], deed, at=n)
            end = scene.backup(None, *more, fault=fault)
            where = f"{deed} at {n} of {total} ({fault.what.replace(str(scene.root), 'ROOT')})"
            fault.close()
            after_error(scene, instance, end, where)
    return total


SMALL_DISK = """
mount -t tmpfs -o size="$1" tmpfs "$2" && cp -a "$3/." "$2" || exit 99
out=$4
shift 4
"$@"
status=$?
cp -a "$ROOT/." "$out" || exit 99
exit $status
"""


@row("C1", "The disk is full, at sizes from too small to just enough")
def full_disk(stage):
    scene = Scene(stage)
    start = namespaces("-Urm")
    place, kept_as = stage.fresh("disk"), scene.root
    shell = ["sh", "-c", SMALL_DISK, "sh"]

    def blocks(path):
        return sum((each.lstat().st_size + 4095) // 4096 if each.is_file() else 0 for each in path.rglob("*"))

    low = blocks(scene.base) + 1
    scene.reset()
    scene.succeed(scene.backup(None, "--no-pack"), "a backup of single files")
    high = blocks(scene.root) + 60
    for n in stage.points(high - low, 14, 60):
        shutil.rmtree(kept_as, ignore_errors=True)
        kept_as.mkdir()
        size = (low + n) * 4096
        end = stage.programs.run("orvik", *scene.arguments(place), prefix=[*start, *shell, size, place, scene.base,
                                                                            kept_as],
                                 environment={"ROOT": str(place)})
        if end.status == 99:
            raise RuntimeError("the small disk could not be made: " + end.err[-200:])
        after_error(scene, Instance(kept_as), end, f"{size} bytes")


@row("C3", "EIO at the n-th open, read, write, close and stat of a run")
def input_output_errors(stage):
    scene = Scene(stage)
    counts = [f"{each_error(stage, scene, kind, [f'error:{errno.EIO}'], 6, 60)} {kind}"
              for kind in ("open", "read", "write", "close", "stat")]
    stage.tally.note = ", ".join(counts)


def collect_after(scene, source, fault, where, command="gc"):
    """A collection that met an error deletes nothing that a backup refers to."""
    instance = Instance(scene.root)
    before = instance.backups()
    end = scene.programs.run("orvik", command, instance.path, "--yes", "--quiet", fault=fault)
    where += f" ({fault.what.replace(str(scene.root), 'ROOT')})"
    fault.close()
    problems = [] if end.status == 0 else told(end)
    problems += kept(scene.programs, instance, before) + scene.lost(instance)
    scene.stage.tally.add(where, problems)


@row("C4", "EIO, a short listing, or one that omits or repeats a name, while gc looks")
def listings(stage):
    scene = Scene(stage)
    source = stage.folder / "half"
    garbage(scene, source)
    instance = scene.reset(source)
    command = ["gc", instance.path, "--yes", "--quiet"]
    # A name that is missing among the backups costs most: there each call is tried.
    for pattern, quick, full in (("/backups", 12, None), ("/store", 4, 60)):
        scene.reset(source)
        total = calls_of(stage, command, "list", [scene.root], pattern=pattern)
        for deed in (f"error:{errno.EIO}", "short", "omit", "repeat"):
            for n in stage.points(total, quick, full):
                scene.reset(source)
                fault = stage.fault("list", [scene.root], deed, at=n, pattern=pattern)
                collect_after(scene, source, fault, f"{deed} at {n} of {total} in {pattern}")
    stage.tally.worst = f"{stage.tally.objects_lost} objects lost"


@row("C5", "EACCES on folder, index, manifest and pack")
def refused_files(stage):
    scene = Scene(stage)
    user = other_user()
    source = stage.folder / "half"
    garbage(scene, source)
    targets = ["backups", "store", "store/packs", "backups/*", "backups/*/manifest.json", "backups/*/sections",
               "backups/*/sections/scripts.json", "store/packs/*.pack", "store/packs/*.idx"]
    for path in (stage.folder.parent, *stage.folder.parent.parents):
        if str(path).startswith(("/dev/shm/", "/tmp/")):
            path.chmod(0o755)
    for target in targets:
        for command in (("orvik", "gc", "--yes", "--quiet"), ("orvikctl", "gc"), ("orvikctl", "verify"),
                        ("orvik", "pack", "--quiet")):
            instance = scene.reset(source)
            before, held = instance.backups(), instance.held()
            for each in [stage.programs.home, stage.programs.temporary, scene.root]:
                for path in [each, *each.rglob("*")]:
                    os.chown(path, 65534, 65534)
            found = sorted(instance.path.glob(target))
            modes = [(path, path.stat().st_mode) for path in found]
            for path in found:
                path.chmod(0)
            end = stage.programs.run(command[0], command[1], instance.path, *command[2:], prefix=user)
            for path, mode in modes:
                path.chmod(mode)
            problems = within(end, 30) + (["it crashed"] if end.crashed else [])
            if command[1] == "verify" and end.status == 0 and "sections" not in target:
                problems.append(f"verify finds nothing: {end.text()}")
            needed = {name for backup in before for name in instance.names(backup)}
            if needed - instance.held():
                problems.append(f"{len(needed - instance.held())} objects are lost")
            if command[1] == "gc" and command[0] == "orvik" and held - instance.held() and "packs/" not in target:
                problems.append("it deleted although it could not look")
            problems += kept(stage.programs, instance, before)
            stage.tally.add(f"{' '.join(command)} with {target} closed", problems)


READ_ONLY = 'mount --bind "$1" "$1" && mount -o remount,ro,bind "$1" && shift && exec "$@"'


@row("C6", "A folder that can only be read")
def read_only(stage):
    scene = Scene(stage)
    prefix = [*namespaces("-Urm"), "sh", "-c", READ_ONLY, "sh", scene.root]
    source = stage.folder / "half"
    garbage(scene, source)
    instance = scene.reset(source)
    out = stage.fresh("out")
    before = snapshot(scene.root)
    readers = [("orvikctl", "list", instance.path), ("orvikctl", "verify", instance.path),
               ("orvikctl", "report", instance.path, "--out", out), ("orvik", "sections", instance.path),
               ("orvik", "show", instance.path, "scripts"), ("orvik", "search", instance.path, "a"),
               ("orvik", "export", instance.path, "scripts", "--out", out / "export"),
               ("orvik", "lock", "show", instance.path)]
    writers = [("orvik", *scene.arguments()), ("orvik", "gc", instance.path, "--yes"), ("orvik", "pack", instance.path),
               ("orvik", "retention", instance.path, "--keep", "1", "--yes"), ("orvikctl", "gc", instance.path),
               ("orvikctl", "pack", instance.path)]
    for command in readers:
        end = stage.programs.run(*command, prefix=prefix)
        problems = [] if end.status == 0 else [end.text()]
        stage.tally.add(" ".join(map(str, command[:2])), problems + same_as(before, scene.root))
    for command in writers:
        end = stage.programs.run(*command, prefix=prefix)
        stage.tally.add(" ".join(map(str, command[:2])), told(end) + same_as(before, scene.root))


def limited(stage, scene, limit, values, *more):
    for value in values:
        instance = scene.reset()
        end = scene.backup(None, *more, preexec=lambda: resource.setrlimit(limit, (value, value)))
        after_error(scene, instance, end, f"limit {value}")


@row("C7", "Files can't grow beyond a size (EFBIG, SIGXFSZ)")
def file_sizes(stage):
    limited(stage, Scene(stage), resource.RLIMIT_FSIZE, [400 + 1500 * n for n in stage.points(40, 8)])


@row("C8", "Descriptors run out")
def descriptors(stage):
    limited(stage, Scene(stage), resource.RLIMIT_NOFILE, [9 + n for n in stage.points(55, 10)])


@row("C9", "EINTR, short reads and short writes at every call")
def interrupted_calls(stage):
    scene = Scene(stage)
    again = f"error:{errno.EINTR}"
    for kinds, deed, every in (("read", "short", 1), ("write", "short", 1), ("read,write", "one", 3), ("read", again, 2),
                               ("write", again, 2), ("read,write", again, 3), ("open", again, 5),
                               ("sync,syncfolder", again, 2), ("close", again, 4)):
        instance = scene.reset()
        fault = stage.fault(kinds, [scene.root], deed, at=1, until=0, every=every)
        end = scene.backup(fault=fault)
        hits = fault.hits
        fault.close()
        problems = [] if end.status == 0 else [end.text()]
        if not hits:
            problems.append("nothing was broken")
        if end.status == 0 and instance.content(instance.backups()[-1]) != scene.reference:
            problems.append("its backup differs from a clean one")
        stage.tally.add(f"{deed} at every {every}. {kinds}", problems + scene.recovers(instance, scene.before))


@row("C10", "A flush fails once")
def flushes(stage):
    scene = Scene(stage)
    for kinds in ("sync", "syncfolder"):
        instance = scene.reset()
        total = scene.calls(kinds)
        for n in stage.points(total, 12):
            scene.reset()
            fault = stage.fault(kinds, [scene.root], f"error:{errno.EIO}", at=n)
            end = scene.backup(fault=fault)
            where = f"{n} of {total} ({fault.what.replace(str(scene.root), 'ROOT')})"
            fault.close()
            # The journal serves an interrupted run alone, and the log never holds a run up: a flush of one of the
            # two costs lines after a power cut, no objects. The whole file system is flushed before a run publishes.
            aid = end.status == 0 and ("journal.jsonl" in where or "audit.jsonl" in where)
            problems = [] if aid else told(end)
            if len(instance.backups()) > 1 and not aid:
                problems.append("it published all the same")
            stage.tally.add(where, problems + scene.recovers(instance, scene.before))


@row("C11", "A rename gives EXDEV, EBUSY, EACCES or ENOTEMPTY, or claims success and does nothing")
def renames(stage):
    scene = Scene(stage)
    deeds = [f"error:{code}" for code in (errno.EXDEV, errno.EBUSY, errno.EACCES, errno.ENOTEMPTY)]
    total = each_error(stage, scene, "rename", deeds, 4, 40)
    for n in stage.points(total, 8, 120):
        instance = scene.reset()
        fault = stage.fault("rename", [scene.root], "lie", at=n)
        end = scene.backup(fault=fault)
        where = f"pretended at {n} of {total} ({fault.what.replace(str(scene.root), 'ROOT')})"
        fault.close()
        problems = within(end, 60) + (["it crashed"] if end.crashed else [])
        found = False
        for backup in instance.backups():
            verified = stage.programs.run("orvikctl", "verify", instance.path, backup)
            found = found or verified.status != 0
            if bool(instance.names(backup) - instance.held()) != (verified.status != 0):
                problems.append(f"verify of {backup} is wrong: {verified.text()}")
        # Objects of the new backup that never came to be are found, and read again by the next run.
        next_end = scene.backup()
        if next_end.status != 0:
            problems.append(f"the next run fails: {next_end.text()}")
        problems += whole(stage.programs, instance, instance.backups()[-1])
        stage.tally.planted(where, problems)


@row("C12", "The mount vanishes, with an empty folder in its place")
def vanished_mount(stage):
    scene = Scene(stage)
    total = scene.calls("all")
    instance = Instance(scene.root)
    away = stage.folder / "away"
    for n in stage.points(total, 12, 100):
        scene.reset()
        shutil.rmtree(away, ignore_errors=True)
        fault = stage.fault("all", [scene.root], "stop", at=n)
        running = stage.programs.start("orvik", *scene.arguments(), fault=fault)
        where = f"at call {n} of {total}"
        if not running.await_stop():
            running.wait()
            fault.close()
            continue
        where += f" ({fault.what.replace(str(scene.root), 'ROOT')})"
        published = len(instance.backups()) > 1
        os.rename(scene.root, away)
        scene.root.mkdir()
        running.send(signal.SIGCONT)
        end = running.wait(60)
        fault.close()
        problems = within(end, 60) if published else told(end)
        problems += [f"{each} is visible in the empty folder" for each in instance.backups() if not published]
        next_end = scene.backup()
        if next_end.status == 0 and not published:
            problems.append("the next run begins a fresh store without a word")
        shutil.rmtree(scene.root)
        os.rename(away, scene.root)
        stage.tally.add(where, problems + scene.recovers(instance, scene.before))


@row("C13", "A slow disk and a fast network")
def slow_disk(stage):
    scene = Scene(stage, "packages,packageFiles,distributionPoints,jcdsFiles")
    instance = scene.reset()
    fault = stage.fault("write", [scene.root], "delay:20", at=1, until=0)
    running = stage.programs.start("orvik", *scene.arguments(), fault=fault)
    watch = MemoryWatch(running.pid)
    end = running.wait(300)
    watch.close()
    fault.close()
    problems = [] if watch.peak < 200 else [f"{watch.peak:.0f} MB"]
    problems += [] if end.status == 0 else [end.text()]
    stage.tally.add("20 ms for each write", problems + scene.recovers(instance, scene.before))
    stage.tally.worst = f"{watch.peak:.0f} MB"


STALE = (errno.ESTALE, errno.EDEADLK, errno.ENODATA)


@row("C14", "ESTALE, EDEADLK and ENODATA on opening and reading")
def stale_reads(stage):
    scene = Scene(stage)
    source = stage.folder / "half"
    garbage(scene, source)
    instance = scene.reset(source)
    command = ["gc", instance.path, "--yes", "--quiet"]
    total = calls_of(stage, command, "open,read", [scene.root])
    for code in STALE:
        for n in stage.points(total, 6, 60):
            scene.reset(source)
            collect_after(scene, source, stage.fault("open,read", [scene.root], f"error:{code}", at=n),
                          f"gc, {errno.errorcode[code]} at {n} of {total}")
    scene.server.change_to(2)
    each_error(stage, scene, "open,read", [f"error:{code}" for code in STALE], 4, 30)


@row("C15", "No chmod, no flush of folders, no hard links")
def poor_file_systems(stage):
    scene = Scene(stage)
    for kinds, code in (("chmod", errno.EPERM), ("link", errno.EPERM), ("syncfolder", errno.EINVAL),
                        ("chmod,link", errno.ENOTSUP)):
        instance = scene.reset()
        fault = stage.fault(kinds, [scene.root], f"error:{code}", at=1, until=0)
        end = scene.backup(fault=fault)
        fault.close()
        problems = [] if end.status == 0 else [end.text()]
        stage.tally.add(f"{errno.errorcode[code]} from {kinds}", problems + scene.recovers(instance, scene.before))


@row("C16", "No memory at the n-th allocation of list, verify and gc")
def no_memory(stage):
    scene = Scene(stage)
    source = stage.folder / "half"
    garbage(scene, source)
    instance = scene.reset(source)
    before = instance.backups()
    for program, command, *more in (("orvikctl", "list"), ("orvikctl", "verify"), ("orvik", "gc", "--yes", "--quiet")):
        counting = stage.fault("malloc", ())
        stage.programs.run(program, command, instance.path, *more, fault=counting)
        total = counting.count
        counting.close()
        for n in stage.points(total, 8, 60):
            scene.reset(source)
            fault = stage.fault("malloc", (), f"error:{errno.ENOMEM}", at=n)
            end = stage.programs.run(program, command, instance.path, *more, fault=fault)
            fault.close()
            problems = within(end, 30)
            if end.crashed:
                problems.append(end.text())
            problems += kept(stage.programs, instance, before) + scene.lost(instance)
            stage.tally.add(f"{command} at {n} of {total}", problems)
