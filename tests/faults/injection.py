"""The tools that break things: the preloaded library, tracing, namespaces and small file systems."""

import mmap
import os
import shutil
import struct
import subprocess
import threading
from pathlib import Path

HERE = Path(__file__).resolve().parent
STATE_BYTES = 1024  # struct state of shim.c


class NotRun(Exception):
    """A row can't run on this machine; the text says why."""


class Shim:
    """shim.c, built once for a campaign."""

    library = None

    @classmethod
    def build(cls, folder):
        compiler = shutil.which("cc")
        if not compiler:
            return "there is no C compiler"
        library = Path(folder) / "shim.so"
        made = subprocess.run([compiler, "-shared", "-fPIC", "-O1", "-o", library, HERE / "shim.c", "-ldl"],
                              capture_output=True, text=True)
        if made.returncode:
            return "the library to preload can't be built: " + made.stderr.strip()[:200]
        cls.library = library
        return ""


class Fault:
    """What the preloaded library does to one program, and what it counted. Closed by the row's end.

    `calls` are kinds with commas, `below` the folders that count, `at` the number of the first call, from 1.
    """

    def __init__(self, folder, calls, below=(), do="", at=0, until=None, every=1, pattern="", clock=0,
                 name="fault-state"):
        if Shim.library is None:
            raise NotRun("the library to preload could not be built")
        self.path = Path(folder) / name
        self.path.write_bytes(bytes(STATE_BYTES))
        self.file = open(self.path, "r+b")
        self.map = mmap.mmap(self.file.fileno(), STATE_BYTES)
        self.variables = {
            "LD_PRELOAD": str(Shim.library),
            "FAULT_STATE": str(self.path),
            "FAULT_CALLS": calls,
            "FAULT_BELOW": ":".join(str(each) for each in below),
            "FAULT_DO": do,
            "FAULT_AT": str(at),
            "FAULT_UNTIL": str(at if until is None else until),
            "FAULT_EVERY": str(every),
            "FAULT_PATTERN": pattern,
        }
        self.set_clock(clock)

    def environment(self):
        return self.variables

    def set_clock(self, seconds):
        """Moves the calendar of the program, also while it runs."""
        self.map[16:24] = struct.pack("q", seconds)

    def refuse_renames(self, text):
        """From now on a rename to a path that holds the text fails."""
        self.map[24:24 + len(text) + 1] = text.encode() + b"\0"

    @property
    def count(self):
        return struct.unpack("Q", self.map[0:8])[0]

    @property
    def hits(self):
        return struct.unpack("Q", self.map[8:16])[0]

    @property
    def what(self):
        return self.map[88:].split(b"\0")[0].decode("utf-8", "replace")

    def close(self):
        self.map.close()
        self.file.close()
        self.path.unlink(missing_ok=True)


def require(program):
    path = shutil.which(program)
    if not path:
        raise NotRun(f"{program} is not installed")
    return path


def _works(*command):
    return subprocess.run(command, capture_output=True).returncode == 0


def tracing(*expressions):
    """The start of a command that breaks system calls, such as "rename:error=EIO:when=2", counted by thread."""
    strace = require("strace")
    if not _works(strace, "-f", "-o", "/dev/null", "true"):
        raise NotRun("tracing is refused")
    command = [strace, "-f", "-qq", "-o", "/dev/null"]
    for each in expressions:
        command += ["-e", "inject=" + each]
    return command


def namespaces(flags):
    """The start of a command in namespaces of its own, such as flags "-Urm"."""
    unshare = require("unshare")
    if not _works(unshare, flags, *(["--fork"] if "p" in flags else []), "true"):
        raise NotRun(f"unshare {flags} is refused")
    return [unshare, flags, *(["--fork"] if "p" in flags else [])]


def other_user(uid=65534):
    """The start of a command as a user that is not the owner of the files."""
    if os.geteuid() != 0:
        raise NotRun("only root can start a program as another user")
    return [require("setpriv"), f"--reuid={uid}", f"--regid={uid}", "--clear-groups"]


class MemoryWatch:
    """The most memory that a process held, in MB."""

    def __init__(self, pid):
        self.pid = pid
        self.peak = 0.0
        self.done = threading.Event()
        self.thread = threading.Thread(target=self._watch)
        self.thread.start()

    def _watch(self):
        while not self.done.wait(0.02):
            try:
                status = Path(f"/proc/{self.pid}/status").read_text()
            except OSError:
                return
            for line in status.splitlines():
                if line.startswith("VmHWM:"):
                    self.peak = max(self.peak, int(line.split()[1]) / 1000)

    def close(self):
        self.done.set()
        self.thread.join()
