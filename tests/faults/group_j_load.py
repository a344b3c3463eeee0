"""Group J: many clients of the tool server, huge requests, clients that leave, and the clients of others."""

import os
import re
import selectors
import signal
import socket
import struct
import subprocess
import threading
import time
from pathlib import Path

from campaign import NotRun, row
from injection import MemoryWatch
from invariants import told, within
from tool_server import CALL, HOST, ToolServer, read_answer, with_school

PATIENCE = 30  # seconds that a request may take to arrive
PLACES = 64
BODY_LIMIT = 8 * 1024 * 1024


class Drips:
    """Clients that send a byte of a request now and then, and begin anew when they are cut. On a thread of its own."""

    def __init__(self, server, count, every=5, anew=True):
        self.server, self.count, self.every, self.anew = server, count, every, anew
        self.lives, self.cut, self.told = [], 0, 0
        self.open = {}
        self.done = threading.Event()
        self.selector = selectors.DefaultSelector()
        self.request = server.head(1000)
        self.thread = threading.Thread(target=self._drip)
        self.thread.start()

    def _connect(self):
        connection = socket.create_connection((HOST, self.server.port), 10)
        connection.setblocking(False)
        self.open[connection] = (time.monotonic(), 0)
        self.selector.register(connection, selectors.EVENT_READ)

    def _drip(self):
        while not self.done.is_set():
            for connection, (began, sent) in list(self.open.items()):
                try:
                    connection.send(self.request[sent:sent + 1])
                    self.open[connection] = (began, sent + 1)
                except OSError:
                    self._lost(connection)
            while len(self.open) < self.count and (self.anew or not self.lives) and not self.done.is_set():
                self._connect()
            deadline = time.monotonic() + self.every
            while (left := deadline - time.monotonic()) > 0 and not self.done.is_set():
                for key, _ in self.selector.select(min(left, 0.1)):
                    self._lost(key.fileobj)

    def _lost(self, connection):
        try:
            self.told += bool(connection.recv(1000))
        except OSError:
            pass
        self.selector.unregister(connection)
        began, _ = self.open.pop(connection)
        self.lives.append(time.monotonic() - began)
        connection.close()

    def close(self):
        self.done.set()
        self.thread.join()
        for connection in self.open:
            connection.close()


@row("J5", "500 clients that send a byte every five seconds")
def half_open(stage):
    crowded, patient = with_school(stage), stage.keep(ToolServer(stage.programs))
    seconds = stage.size(PATIENCE + 2, 90)
    flood, few = Drips(crowded, 500), Drips(patient, 20, anew=False)
    slowest, end = 0.0, time.monotonic() + seconds
    try:
        while time.monotonic() < end:
            answer = crowded.post(CALL, timeout=10)
            slowest = max(slowest, answer.seconds)
            problems = [] if answer.status == 200 and answer.seconds < 5 else [f"{answer.text()}, {answer.seconds:.1f} s"]
            stage.tally.add("an ordinary client in the crowd", problems)
            time.sleep(0.25)
        threads, descriptors = crowded.threads(), crowded.descriptors()
    finally:
        flood.close()
        few.close()
    stage.tally.add("the crowd", [] if flood.lives else ["nobody was cut: it was no crowd"])
    stage.tally.add("descriptors", [] if descriptors < PLACES + 40 else [f"it holds {descriptors}"])
    stage.tally.add("threads", [] if threads < PLACES + 10 else [f"it has {threads}"])
    late = [life for life in few.lives if not PATIENCE - 2 < life < PATIENCE + 2]
    stage.tally.add("the few", [] if len(few.lives) == 20 and not late else
                    [f"of 20, {len(few.lives)} were cut, {len(late)} not after {PATIENCE} s: {late[:3]}"])
    stage.tally.worst = f"{slowest:.1f} s for an answer"
    longest = max(few.lives, default=0)
    stage.tally.note = f"{len(flood.lives)} of the crowd were cut, those of a small one after {longest:.1f} s"


def stream(server, head, size, timeout=60):
    """Sends a head and so many bytes, as far as the server takes them. The answer, and what was sent."""
    piece, sent, started = b"x" * (1 << 20), 0, time.monotonic()
    answer = []

    def read(connection):
        answer.append(read_answer(connection, started))

    with server.connect(timeout) as connection:
        reader = threading.Thread(target=read, args=(connection,))
        reader.start()
        try:
            connection.sendall(head)
            while sent < size:
                connection.sendall(piece[:size - sent])
                sent += min(len(piece), size - sent)
        except OSError:
            pass
        reader.join()
    return answer[0], sent


def call(arguments):
    return (b'{"jsonrpc":"2.0","id":7,"method":"tools/call","params":{"name":"list_organizations","arguments":'
            + arguments + b"}}")


def filled(unit, size=BODY_LIMIT, begin=b"[", end=b"0]"):
    """A call of about that size whose arguments are so many units, of exactly that size when a unit has one byte."""
    room = size - len(call(begin + end))
    return call(begin + unit * (room // len(unit)) + end)


def odd_bodies():
    """(name, body, status)"""
    def text(size):
        return filled(b"x", size, b'{"x":"', b'"}')

    yield "8 MiB of a text", text(BODY_LIMIT), 200
    yield "8 MiB and a byte", text(BODY_LIMIT + 1), 413
    yield "8 MiB of escapes", filled(b"\\u0041", begin=b'{"x":"', end=b'"}'), 200
    yield "8 MiB of commas in a text", filled(b",", begin=b'{"x":"', end=b'"}'), 200
    yield "a key of 8 MiB", filled(b"x", begin=b'{"', end=b'":0}'), 200
    for name, unit in (("numbers", b"0,"), ("lists", b"[],"), ("objects", b"{},"), ("texts", b'"",')):
        yield f"8 MiB of {name}", filled(unit), 400
    yield "8 MiB of one key", filled(b'"a":0,', begin=b"{", end=b'"b":0}'), 400
    for depth in (10, 100, 500, 509, 510, 511, 1000, 10_000, 100_000, 1_000_000):
        for opening, closing in ((b"[", b"]"), (b'{"a":', b"}")):
            # Arguments stand on the third level of a message, and 512 are the most.
            whole = call(opening * depth + b"0" + closing * depth)
            yield f"{depth} levels of {opening.decode()}", whole, 200 if depth <= 510 else 400
    yield "1,000,000 that only open", call(b"[" * 1_000_000), 400


def together(server, body, count):
    """Answers to that many clients at once."""
    answers, guard = [], threading.Lock()

    def ask():
        answer = server.post(body, timeout=60)
        with guard:
            answers.append(answer)

    threads = [threading.Thread(target=ask) for _ in range(count)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    return answers


MEMORY_LIMIT = 2000  # MB: 64 places with 8 MiB each, while they grow and are read


@row("J6", "Huge bodies and heads, deep nesting in arguments")
def huge(stage):
    server = with_school(stage)
    watch = MemoryWatch(server.pid)
    size = stage.size(50_000_000, 1_000_000_000)
    try:
        for name, head, status in (("a body, announced", server.head(size), 413),
                                   ("a body in chunks", server.head(more=["Transfer-Encoding: chunked"]), 411),
                                   ("a body of no length", server.head(), 400),
                                   ("a head", server.head()[:-2] + b"X: ", 431)):
            answer, sent = stream(server, head, size)
            # Who goes on sending for long is cut, and the answer can be lost on the way.
            problems = [] if answer.status in (status, 0) else [f"not {status} but {answer.text()}"]
            stage.tally.add(f"{name} of {size} bytes, {sent} were sent", problems + server.serves())
        for name, body, status in odd_bodies():
            answer = server.post(body, timeout=30)
            problems = [] if answer.status == status else [f"not {status} but {answer.text()}"]
            stage.tally.add(name, problems + server.serves())
        for name, body, status in (("a text", filled(b"x", begin=b'{"x":"', end=b'"}'), 200),
                                   ("lists", filled(b"[],"), 400),
                                   ("100,000 numbers", filled(b"0,", 199_000), 200)):
            count = stage.size(16, PLACES)
            answers = together(server, body, count)
            problems = [answer.text() for answer in answers if answer.status != status]
            stage.tally.add(f"{count} clients at once with {name}", problems[:2] + server.serves())
    finally:
        watch.close()
    stage.tally.add("memory", [] if 10 < watch.peak < MEMORY_LIMIT else [f"{watch.peak:.0f} MB"])
    stage.tally.worst = f"{watch.peak:.0f} MB"


class Silence:
    """A server that takes connections and never says anything, until it ends them all."""

    def __init__(self):
        self.listener = socket.create_server((HOST, 0), backlog=256)
        self.url = f"http://{HOST}:{self.listener.getsockname()[1]}"
        self.taken = []
        self.patient = True
        self.thread = threading.Thread(target=self._take)
        self.thread.start()

    def _take(self):
        try:
            while True:
                connection = self.listener.accept()[0]
                if self.patient:
                    self.taken.append(connection)
                else:
                    connection.close()
        except OSError:
            pass

    def end(self):
        """From now on connections are closed at once, as are those that it has."""
        self.patient = False
        for each in self.taken:
            each.close()
        self.taken.clear()

    def close(self):
        if self.thread.is_alive():
            self.listener.shutdown(socket.SHUT_RDWR)
            self.thread.join()
        self.listener.close()
        self.end()


def leave(server, stage, request):
    """A client that goes away in one of many ways."""
    connection = server.connect()
    try:
        connection.sendall(request[:stage.random.choice([0, 1, len(request) // 2, len(request) - 1, len(request)])])
        how = stage.random.choice(["close", "reset", "half", "first bytes", "all"])
        if how == "half":
            connection.shutdown(socket.SHUT_WR)
        elif how == "reset":
            connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        elif how == "first bytes":
            connection.settimeout(0.002)
            connection.recv(10)
    except (TimeoutError, ConnectionError):
        pass
    finally:
        connection.close()


def abandon(server, body, silence):
    """Leaves while the call waits for a server that says nothing."""
    before, deadline = len(silence.taken), time.monotonic() + 10
    with server.connect() as connection:
        connection.sendall(server.request(body))
        while len(silence.taken) == before and time.monotonic() < deadline:
            time.sleep(0.002)


@row("J7", "Clients that leave early, reset, or end their side")
def leaving(stage):
    silence = stage.keep(Silence())
    server = with_school(stage, "--quiet")
    end = stage.programs.run("orvik", "orgs", "add", "--name", "Silent", "--url", silence.url, "--client-id", "x",
                             "--secret-command", "echo a-made-up-word")
    if end.status != 0:
        raise RuntimeError(end.text())
    slow = (b'{"jsonrpc":"2.0","id":7,"method":"tools/call","params":{"name":"list_scripts",'
            b'"arguments":{"orgName":"Silent"}}}')
    # All that the server makes once and keeps is made: its threads, and what it asks the other server with.
    together(server, CALL, PLACES)
    abandon(server, slow, silence)
    silence.end()
    server.post(slow, timeout=60)
    descriptors = server.settles(0, 3)
    silence.patient = True
    requests = [server.request(CALL), server.request(b'{"jsonrpc":"2.0","id":1,"method":"tools/list"}'),
                server.request(filled(b"x", 1_000_000, b'{"x":"', b'"}'))]
    abandoned = 0
    for turn in range(stage.size(1000, 10_000)):
        if turn % 250 == 0:
            abandon(server, slow, silence)
            abandoned += 1
        leave(server, stage, stage.random.choice(requests))
        if turn % 100 == 99:
            stage.tally.add(f"after {turn + 1} clients", server.serves())
    silence.end()
    left = server.settles(descriptors)
    stage.tally.add("descriptors", [] if left <= descriptors else [f"{left - descriptors} are left of {left}"])
    threads = server.threads()
    stage.tally.add("threads", [] if threads <= PLACES + 10 else [f"there are {threads}"])
    stage.tally.add("all places can be had", [answer.text() for answer in together(server, CALL, PLACES)
                                              if answer.status != 200][:2])
    stage.tally.worst = f"{max(0, left - descriptors)} sockets leaked"
    stage.tally.note = f"{stage.size(1000, 10_000)} clients, {abandoned} calls abandoned"


@row("J8", "The port is taken, and the server is started again and again")
def restarts(stage):
    server = with_school(stage)
    for wanted in (server.port, 1):
        if wanted == 1 and os.geteuid() == 0:
            continue  # it may have any
        end = stage.programs.run("orvik", "mcp", "--port", wanted, timeout=20)
        problems = told(end) + within(end, 5)
        if str(wanted) not in end.sentence:
            problems.append(f"the port is not named: {end.text()}")
        stage.tally.add(f"port {wanted} is taken", problems + server.serves())
    port, slowest = server.port, 0.0
    for turn in range(stage.size(20, 100)):
        # What a client leaves behind keeps an address busy for a while.
        waiting = server.connect()
        waiting.sendall(server.request(CALL)[:30])
        problems = server.serves()
        server.stop(signal.SIGKILL if turn % 3 == 0 else signal.SIGTERM)
        waiting.close()
        begin = time.monotonic()
        try:
            server.start(port)
        except RuntimeError as error:
            stage.tally.add(f"start {turn}", [*problems, str(error)])
            server.start()
            port = server.port
            continue
        slowest = max(slowest, time.monotonic() - begin)
        stage.tally.add(f"start {turn}", problems + server.serves() + ([] if server.port == port else ["another port"]))
    stage.tally.worst = f"{slowest:.2f} s to start"


CLIENTS = Path(__file__).resolve().parent.parent / "mcp"


@row("J9", "Clients of others: two libraries, an inspector and a suite for conformance")
def clients_of_others(stage):
    lock, installed = CLIENTS / "package-lock.json", CLIENTS / "node_modules" / ".installed"
    if not installed.exists() or installed.read_bytes() != lock.read_bytes():
        raise NotRun("the clients are not installed; scripts/setup installs them")
    environment = stage.programs.environment({"ORVIK_PROGRAM_FOLDER": str(stage.programs.folder)})
    names = sorted(CLIENTS.glob("*.test.mjs"))
    for name in names[stage.seed % len(names):][:1] if stage.quick else names:
        run = subprocess.run([CLIENTS / "run", name.name], env=environment, capture_output=True,
                             text=True, timeout=300)
        passed, failed = tests_of(run.stdout)
        for test in passed:
            stage.tally.add(test, [])
        for test in failed:
            stage.tally.add(f"{name.name}: {test}", ["it failed"])
        if run.returncode != 0 and not failed or not passed:
            stage.tally.add(name.name, [f"status {run.returncode}: {run.stdout[-200:]}{run.stderr[-200:]}"])
    stage.tally.worst = f"{stage.tally.survived} of {stage.tally.tried} scenarios"


def tests_of(output):
    """Names of the tests that passed and that failed, which stand indented below those of their groups."""
    passed, failed = [], []
    for line in output.split("\N{INFORMATION SOURCE} tests")[0].splitlines():
        if match := re.fullmatch(r" +([\N{HEAVY CHECK MARK}\N{HEAVY MULTIPLICATION X}]) (.*) \([\d.]+ms\)", line):
            (passed if match[1] == "\N{HEAVY CHECK MARK}" else failed).append(match[2])
    return passed, failed
