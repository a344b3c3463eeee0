"""Runs the programs with an environment of their own, so that nothing of this machine's user is touched."""

import itertools
import os
import signal
import subprocess
import time
from dataclasses import dataclass
from pathlib import Path

WARNINGS, LOCKED, CANCELLED = 3, 11, 130


@dataclass
class End:
    """How a program ended. `status` is negative for a signal, None when it did not end in time."""

    status: int
    out: str
    err: str
    seconds: float

    @property
    def hung(self):
        return self.status is None

    @property
    def killed(self):
        return self.status == -signal.SIGKILL

    @property
    def crashed(self):
        return self.status is not None and self.status < 0 and -self.status in (
            signal.SIGSEGV, signal.SIGABRT, signal.SIGBUS, signal.SIGILL, signal.SIGFPE)

    @property
    def sentence(self):
        """The one failure that the program told."""
        lines = [line for line in self.err.splitlines() if line.startswith(("orvik: ", "orvikctl: ", "error: "))]
        return lines[-1] if lines else ""

    def text(self):
        ended = "did not end" if self.hung else f"status {self.status}"
        return f"{ended}: {(self.sentence or self.err.strip()[-160:])!r}"


class Running:
    """A program that was started. Its outputs go to files, so that no pipe can hold it up."""

    def __init__(self, command, environment, outputs, preexec, cwd):
        self.started = time.monotonic()
        self.paths = outputs
        with open(outputs[0], "wb") as out, open(outputs[1], "wb") as err:
            self.process = subprocess.Popen([str(word) for word in command], env=environment, stdin=subprocess.DEVNULL,
                                            stdout=out, stderr=err, preexec_fn=preexec, cwd=cwd)
        self.pid = self.process.pid

    def send(self, number):
        if self.process.poll() is None:
            self.process.send_signal(number)

    def running(self):
        return self.process.poll() is None

    def stopped(self):
        """Whether a SIGSTOP holds it."""
        try:
            stat = Path(f"/proc/{self.pid}/stat").read_text()
        except OSError:
            return False
        return stat.rsplit(")", 1)[1].split()[0] in "tT"

    def await_stop(self, timeout=30):
        """True when it stands still, False when it ended."""
        end = time.monotonic() + timeout
        while time.monotonic() < end and self.running():
            if self.stopped():
                return True
            time.sleep(0.002)
        return False

    def wait(self, timeout=120):
        try:
            status = self.process.wait(timeout)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
            status = None
        seconds = time.monotonic() - self.started
        out, err = (Path(path).read_bytes().decode("utf-8", "replace") for path in self.paths)
        for path in self.paths:
            os.unlink(path)
        return End(status, out, err, seconds)


class Programs:
    """The programs of a folder, with a home, a temporary folder and outputs below `place`."""

    def __init__(self, folder, place):
        self.folder = Path(folder)
        self.place = Path(place)
        self.home = self.place / "home"
        self.temporary = self.place / "tmp"
        self.outputs = self.place / "outputs"
        for each in (self.home, self.temporary, self.outputs):
            each.mkdir(parents=True, exist_ok=True)
        self.numbers = itertools.count(1)
        self.said = []  # what has already been printed and bore a secret
        self.secrets = []

    def environment(self, extra=None):
        environment = {
            "PATH": os.environ.get("PATH", "/usr/bin:/bin"),
            "HOME": str(self.home),
            "XDG_DATA_HOME": str(self.home / "data"),
            "XDG_CONFIG_HOME": str(self.home / "config"),
            "TMPDIR": str(self.temporary),
            "LC_ALL": "C.UTF-8",
        }
        environment.update(extra or {})
        return environment

    def start(self, program, *arguments, fault=None, prefix=(), environment=None, preexec=None, cwd=None):
        """`prefix` is a program that starts it, such as unshare; `fault` is a Fault for it."""
        number = next(self.numbers)
        outputs = [self.outputs / f"{number}.{kind}" for kind in ("out", "err")]
        extra = dict(environment or {})
        if fault:
            extra.update(fault.environment())
        command = [*prefix, self.folder / program, *arguments]
        return Running(command, self.environment(extra), outputs, preexec, cwd or self.place)

    def run(self, program, *arguments, timeout=120, **options):
        end = self.start(program, *arguments, **options).wait(timeout)
        for word in self.secrets:
            if word in end.out or word in end.err:
                self.said.append(f"{program} {arguments[0]} prints a secret")
        return end
