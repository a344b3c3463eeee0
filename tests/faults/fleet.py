"""Sample servers: the same objects for the same seed, so a frozen server is one that nobody changes."""

import json
import signal
import socket
import time
from pathlib import Path

from proxy import Front

# Small enough that a run makes a few hundred calls on the disk: lists, single objects, scripts with texts.
SECTIONS = "buildings,categories,departments,scripts"


def free_port():
    with socket.socket() as one:
        one.bind(("127.0.0.1", 0))
        return one.getsockname()[1]


class Server:
    """`orvik sample-server`. Another seed on the same port is the same server with other objects."""

    def __init__(self, programs, seed=1, port=None, fleet="small"):
        self.programs = programs
        self.port = port or free_port()
        self.seed = seed
        self.fleet = fleet
        self.totals = []
        self.pace = {"--rate": "0", "--base-delay": "0.05", "--max-delay": "0.2", "--attempts": "2"}
        self.start(seed)

    def start(self, seed):
        self.running = self.programs.start("orvik", "sample-server", "--json", "--quiet", "--port", self.port, "--seed",
                                           seed, "--fleet", self.fleet)
        end = time.monotonic() + 30
        while b"\n" not in self.running.paths[0].read_bytes():
            if time.monotonic() > end or not self.running.running():
                raise RuntimeError("the sample server did not start: " + self.running.wait(1).err)
            time.sleep(0.005)
        about = json.loads(self.running.paths[0].read_text().splitlines()[0])
        self.url, self.client, self.secret_file = about["url"], about["clientID"], about["secretFile"]
        secret = Path(self.secret_file).read_text().strip()
        if secret not in self.programs.secrets:
            self.programs.secrets.append(secret)

    def stop(self):
        self.running.send(signal.SIGTERM)
        end = self.running.wait(20)
        for line in end.out.splitlines():
            about = json.loads(line)
            if "writingRequests" in about:
                self.totals.append(about)

    def change_to(self, seed):
        """The same server with other objects."""
        self.stop()
        self.start(seed)

    def options(self, url=None):
        return [*self.identity(url), *(word for pair in self.pace.items() for word in pair)]

    def identity(self, url=None):
        return ["--url", url or self.url, "--client-id", self.client, "--secret-file", self.secret_file]

    def close(self):
        """What it was asked against the rules, once it is stopped."""
        self.stop()
        if not self.totals:
            return ["the sample server did not tell what it was asked"]
        writing = sum(each["writingRequests"] for each in self.totals)
        return [f"the server saw {writing} requests that write"] if writing else []


class FrontedServer(Server):
    """A sample server that is reached through a scripted one, `front`, whose rules decide what comes back."""

    def __init__(self, programs, seed=1, **about):
        super().__init__(programs, seed, **about)
        self.front = Front(self)

    def identity(self, url=None):
        return super().identity(url or self.front.url)

    def close(self):
        problems = [f"{each.method} {each.path} was asked" for each in self.front.writing[:3]]
        return self.front.close() + problems + super().close()
