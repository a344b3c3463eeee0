"""The tool server `orvik mcp`, and clients that send it whatever they like."""

import json
import os
import signal
import socket
import time
from dataclasses import dataclass
from pathlib import Path

from fleet import Server
from programs import CANCELLED

HOST = "127.0.0.1"
INITIALIZE = json.dumps({"jsonrpc": "2.0", "id": 1, "method": "initialize",
                         "params": {"protocolVersion": "2025-06-18", "capabilities": {},
                                    "clientInfo": {"name": "campaign", "version": "1"}}}).encode()
CALL = json.dumps({"jsonrpc": "2.0", "id": 7, "method": "tools/call",
                   "params": {"name": "list_organizations", "arguments": {}}}).encode()


@dataclass
class Answer:
    """What came back: `status` is 0 where the connection was closed without an answer, -1 where nothing came in time."""

    status: int
    head: dict
    body: bytes
    seconds: float

    def message(self):
        """The JSON-RPC message, none where it is no JSON."""
        try:
            return json.loads(self.body)
        except ValueError:
            return None

    def text(self):
        return f"status {self.status}, {self.body[:120]!r}"


def read_answer(connection, started):
    """All that is sent until the server closes."""
    data = bytearray()
    try:
        while piece := connection.recv(1 << 20):
            data += piece
    except TimeoutError:
        return Answer(-1, {}, bytes(data), time.monotonic() - started)
    except ConnectionError:
        pass
    return parsed(bytes(data), time.monotonic() - started)


def parsed(data, seconds):
    head, separator, body = data.partition(b"\r\n\r\n")
    lines = head.decode("latin-1").split("\r\n")
    words = lines[0].split(" ")
    if not separator or len(words) < 2 or not words[1].isdigit():
        return Answer(0, {}, data, seconds)
    fields = {name.lower(): value.strip() for name, _, value in (line.partition(":") for line in lines[1:])}
    return Answer(int(words[1]), fields, body, seconds)


class ToolServer:
    """A running tool server, which takes a free port unless one is given."""

    def __init__(self, programs, *arguments, port=0):
        self.programs = programs
        self.arguments = arguments
        self.start(port)

    def start(self, port=0):
        self.running = self.programs.start("orvik", "mcp", "--json", "--port", port, *self.arguments)
        end = time.monotonic() + 30
        while b"\n" not in self.running.paths[0].read_bytes():
            if time.monotonic() > end or not self.running.running():
                raise RuntimeError("the tool server did not start: " + self.running.wait(1).text())
            time.sleep(0.002)
        about = json.loads(self.running.paths[0].read_text().splitlines()[0])
        self.port = int(about["url"].rsplit(":", 1)[1].split("/")[0])
        self.token = Path(about["tokenFile"]).read_text().strip() if "tokenFile" in about else ""
        if self.token and self.token not in self.programs.secrets:
            self.programs.secrets.append(self.token)

    @property
    def pid(self):
        return self.running.pid

    def connect(self, timeout=20):
        connection = socket.create_connection((HOST, self.port), timeout)
        connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        return connection

    def head(self, length=None, method="POST", path="/mcp", more=(), token=True, host=f"{HOST}"):
        """The head of a request; None leaves a field out."""
        lines = [f"{method} {path} HTTP/1.1"]
        if host is not None:
            lines.append(f"Host: {host}")
        if token and self.token:
            lines.append(f"Authorization: Bearer {self.token}")
        if length is not None:
            lines.append(f"Content-Length: {length}")
        lines += more
        return ("\r\n".join(lines) + "\r\n\r\n").encode("utf-8", "surrogateescape")

    def request(self, body, **options):
        return self.head(len(body), **options) + body

    def exchange(self, *pieces, half_close=False, timeout=20):
        """Sends the pieces one after another, and reads to the end."""
        started = time.monotonic()
        with self.connect(timeout) as connection:
            try:
                for piece in pieces:
                    connection.sendall(piece)
                if half_close:
                    connection.shutdown(socket.SHUT_WR)
            except ConnectionError:
                pass  # it has answered before it had all
            return read_answer(connection, started)

    def post(self, body, timeout=20, **options):
        return self.exchange(self.request(body, **options), timeout=timeout)

    def serves(self, within=5):
        """It still answers an ordinary client, and in time."""
        if not self.running.running():
            return [f"the tool server is gone: {self.running.wait(1).text()}"]
        try:
            answer = self.post(CALL, timeout=within)
        except OSError as error:
            return [f"the tool server can't be reached: {error}"]
        message = answer.message()
        if answer.status != 200 or not isinstance(message, dict) or message.get("id") != 7 or "result" not in message:
            return [f"the tool server no longer serves: {answer.text()}"]
        return []

    def descriptors(self):
        return len(os.listdir(f"/proc/{self.pid}/fd"))

    def threads(self):
        return len(os.listdir(f"/proc/{self.pid}/task"))

    def settles(self, descriptors, seconds=15):
        """The number of descriptors once it is at most the given one, or when time is up."""
        end = time.monotonic() + seconds
        while (count := self.descriptors()) > descriptors and time.monotonic() < end:
            time.sleep(0.02)
        return count

    def stop(self, number=signal.SIGTERM):
        """How it ended, with what it said being free of secrets."""
        self.running.send(number)
        end = self.running.wait(20)
        for word in self.programs.secrets:
            if word in end.out or word in end.err:
                self.programs.said.append("the tool server prints a secret")
        return end

    def close(self):
        gone = not self.running.running()
        end = self.stop()
        problems = [] if not gone and end.status == CANCELLED else [f"the tool server ended by itself: {end.text()}"]
        return problems + list(self.programs.said)


def with_school(stage, *arguments):
    """A tool server at which a made-up server is registered."""
    programs = stage.programs
    server = stage.keep(Server(programs))
    end = programs.run("orvik", "orgs", "add", "--name", "School", "--url", server.url, "--client-id", server.client,
                       "--secret-file", server.secret_file)
    if end.status != 0:
        raise RuntimeError(f"the made-up server can't be registered: {end.text()}")
    return stage.keep(ToolServer(programs, *arguments))
