"""Group E: the program of another build, whose threads are watched."""

import os
from pathlib import Path

from campaign import NotRun, row
from fleet import Server
from folders import Instance
from invariants import whole
from programs import Programs

ROOT = Path(__file__).resolve().parent.parent.parent
WATCHED = ROOT / "build" / "thread" / "bin"
REPORT_STATUS = 66


def reports(text):
    """What the thread sanitizer tells, a line for each report."""
    return [line for line in text.splitlines() if line.startswith(("SUMMARY: ThreadSanitizer", "FATAL: ThreadSanitizer"))]


def fixed_addresses():
    """The start of a command; the sanitizer can't map its memory where addresses are spread over more bits."""
    bits = Path("/proc/sys/vm/mmap_rnd_bits")
    spread = bits.exists() and int(bits.read_text()) > 28
    return ["setarch", os.uname().machine, "--addr-no-randomize"] if spread else []


@row("E11", "The engine with 64 requests side by side under the thread sanitizer")
def thread_sanitizer(stage):
    program = WATCHED / "orvik"
    if not program.exists() or b"__tsan_init" not in program.read_bytes():
        raise NotRun("it needs the program with the thread sanitizer: cmake --preset thread && "
                     "cmake --build --preset thread --target orvik")
    server = stage.keep(Server(stage.programs, fleet=stage.size("small", "school")))
    watched = Programs(WATCHED, stage.folder / "watched")
    root, found = stage.folder / "root", 0
    environment = {"TSAN_OPTIONS": f"exitcode={REPORT_STATUS}:suppressions={ROOT / 'tests/sanitizers/races.txt'}"}
    for turn in range(stage.size(2, 10)):
        server.change_to(turn + 1)
        end = watched.run("orvik", "backup", "--to", root, *server.options(), "--concurrency", "64", "--downloads", "8",
                          "--classic-devices", "--no-reports", "--quiet", environment=environment,
                          prefix=fixed_addresses(), timeout=600)
        told = reports(end.err)
        found += len(told)
        problems = told or ([] if end.status == 0 else [end.text()])
        for backup in Instance(root).backups()[-1:]:
            problems += whole(stage.programs, Instance(root), backup)
        stage.tally.add(f"run {turn}", problems)
    stage.tally.worst = f"{found} reports"
