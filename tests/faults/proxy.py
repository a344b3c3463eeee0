"""A server whose behaviour is a list of rules, in front of a sample server or alone.

What no rule matches is passed on unchanged. A rule is a method, a path as a regular expression, which of its matches
count, and what is done with them: a function of the request that gives a reply.

    front.rules = [Rule("/JSSResource/buildings", status(503), first(2)),
                   Rule("/api/v1/scripts", sent(cut=100))]
"""

import contextlib
import http.client
import json
import re
import socket
import ssl
import struct
import threading
import time
from dataclasses import dataclass, field
from urllib.parse import parse_qsl, urlsplit

TOKEN_PATH = "/api/oauth/token"
PASSED_ON = ("authorization", "accept", "content-type", "range", "if-range")
REASONS = http.client.responses


@dataclass
class Reply:
    """What goes back. `body` is bytes or a function that gives an iterable of bytes, for what is too large to hold.

    The rest says how it is delivered; none of it: whole, at once, on a connection that stays open.
    """

    status: int = 200
    headers: list = field(default_factory=list)  # pairs; length and connection are added where they are missing
    body: object = b""
    delay: float = 0.0  # seconds before the head
    cut: int = None  # the connection ends after so many bytes of the body
    reset: bool = False  # it ends with a reset, not with an orderly close
    chunked: bool = False  # chunks of `step` bytes in place of a length
    drip: float = 0.0  # seconds before each `step` bytes
    step: int = 1 << 16
    silent: bool = False  # where it is cut, nothing more happens until the other side goes or the server closes
    raw: object = None  # as `body`, in place of head and body

    def header(self, name):
        return next((value for key, value in self.headers if key.lower() == name.lower()), None)


@dataclass
class Request:
    method: str
    target: str
    headers: dict
    body: bytes
    server: object
    match: int = 0  # the how many-th match of its rule, from 1

    @property
    def path(self):
        return urlsplit(self.target).path

    @property
    def query(self):
        return dict(parse_qsl(urlsplit(self.target).query))

    def pass_on(self):
        """The reply of the server behind this one."""
        return self.server.ask_behind(self)


@dataclass
class Seen:
    """A request as the log has it."""

    method: str
    target: str
    at: float  # monotonic
    authorized: bool  # it bore a token or a client secret
    connection: int
    status: int = 0

    @property
    def path(self):
        return urlsplit(self.target).path


class Rule:
    """`path` has to match the whole path, percent-encoded as it came; `at` is a set of numbers, from 1, or all."""

    def __init__(self, path, do, at=None, method="GET", query=None):
        self.path = re.compile(path)
        self.do = do
        self.at = at
        self.method = method
        self.query = query or {}
        self.matches = 0

    def applies(self, request):
        """Counts the match. Called with the server's lock held."""
        if request.method != self.method or not self.path.fullmatch(request.path):
            return False
        if any(request.query.get(key) != value for key, value in self.query.items()):
            return False
        self.matches += 1
        request.match = self.matches
        return self.at is None or self.matches in self.at


def first(count):
    return range(1, count + 1)


# What a rule does.


def reply(**about):
    """A made-up reply."""
    return lambda request: Reply(**about)


def status(code, body=b"", *headers):
    return reply(status=code, body=body, headers=list(headers))


def sent(**how):
    """The true reply, delivered in another way: sent(cut=10, reset=True)."""

    def do(request):
        answer = request.pass_on()
        for name, value in how.items():
            setattr(answer, name, value)
        return answer

    return do


def edited(change):
    """The true reply with another body: `change` gets bytes and gives bytes."""

    def do(request):
        answer = request.pass_on()
        answer.body = change(answer.body)
        return answer

    return do


def edited_json(change):
    """The true reply with `change` made to its JSON in place; what it returns counts, if anything."""

    def do(body):
        tree = json.loads(body)
        other = change(tree)
        return json.dumps(tree if other is None else other).encode()

    return edited(do)


def hang(request):
    """Takes the request and says nothing."""
    return Reply(raw=b"", silent=True)


def drop(request):
    """Takes the request and resets the connection."""
    return Reply(raw=b"", cut=0, reset=True)


def token(**members):
    """Another answer of the token call: members as they shall stand, None to leave one out."""

    def change(tree):
        tree.update(members)
        return {key: value for key, value in tree.items() if value is not None}

    return Rule(TOKEN_PATH, edited_json(change), method="POST")


class Front:
    """Listens on a port of its own. `behind` is a fleet.Server or None. Close it at the row's end (stage.keep)."""

    def __init__(self, behind=None, port=0, certificate=None, tls_versions=None):
        """`certificate` is a file with a certificate and its key, which makes it https; `tls_versions` a pair."""
        self.behind = behind
        self.rules = []
        self.log = []
        self.writing = []  # what was neither a GET nor the request for a token; never forgotten
        self.lock = threading.Lock()
        self.closing = threading.Event()
        self.connections = set()
        self.numbers, self.errors, self.context = 0, [], None
        if certificate:
            self.context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            self.context.set_ciphers("ALL:@SECLEVEL=0")
            if tls_versions:
                self.context.minimum_version, self.context.maximum_version = tls_versions
            self.context.load_cert_chain(certificate)
        self.scheme = "https" if certificate else "http"
        self.port = port
        self.open()

    @property
    def url(self):
        return f"{self.scheme}://127.0.0.1:{self.port}"

    def open(self):
        """Listens, on the port that it had before."""
        self.closing.clear()
        self.listener = socket.socket()
        self.listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.listener.bind(("127.0.0.1", self.port))
        self.listener.listen(128)
        self.port = self.listener.getsockname()[1]
        threading.Thread(target=self._accept, args=(self.listener,), daemon=True).start()

    def shut(self):
        """Nobody listens any more and all connections are reset, until open()."""
        self.closing.set()
        with contextlib.suppress(OSError):
            self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()
        with self.lock:
            connections = list(self.connections)
        for each in connections:
            with contextlib.suppress(OSError):
                _linger_not(each)
                each.shutdown(socket.SHUT_RDWR)  # wakes its thread, which closes it

    def close(self):
        """What went wrong in the server itself; none of it is the programs' fault."""
        self.shut()
        return [f"the scripted server failed: {error}" for error in self.errors[:3]]

    def forget(self, rules=()):
        """An empty log and other rules, for the next try."""
        with self.lock:
            self.log, self.rules = [], list(rules)

    def seen(self, path=".*", method=None):
        """What was asked, in order."""
        wanted = re.compile(path)
        with self.lock:
            return [each for each in self.log
                    if wanted.fullmatch(each.path) and (method is None or each.method == method)]

    def waits(self, path):
        """Seconds between one attempt and the next."""
        times = [each.at for each in self.seen(path)]
        return [later - earlier for earlier, later in zip(times, times[1:])]

    # The work of its threads.

    def _accept(self, listener):
        while not self.closing.is_set():
            try:
                connection, _ = listener.accept()
            except OSError:
                return
            threading.Thread(target=self._serve, args=(connection,), daemon=True).start()

    def _serve(self, connection):
        with self.lock:
            self.numbers += 1
            number = self.numbers
        try:
            connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            if self.context:
                connection.settimeout(30)
                connection = self.context.wrap_socket(connection, server_side=True)
                connection.settimeout(None)
            with self.lock:
                self.connections.add(connection)
            with connection.makefile("rb") as stream:
                while not self.closing.is_set() and self._exchange(connection, stream, number):
                    pass
        except (OSError, ValueError):
            pass  # the other side went, as it may
        except Exception as error:
            self.errors.append(repr(error))
        finally:
            with self.lock:
                self.connections.discard(connection)
            connection.close()

    def _exchange(self, connection, stream, number):
        request = self._read(stream)
        if request is None:
            return False
        bore = "authorization" in request.headers or b"client_secret" in request.body
        seen = Seen(request.method, request.target, time.monotonic(), bore, number)
        with self.lock:
            self.log.append(seen)
            if seen.method != "GET" and (seen.method, seen.path) != ("POST", TOKEN_PATH):
                self.writing.append(seen)
            rule = next((each for each in self.rules if each.applies(request)), None)
        answer = rule.do(request) if rule else request.pass_on()
        seen.status = answer.status
        return _deliver(connection, answer, self.closing)

    def _read(self, stream):
        line = stream.readline(1 << 20)
        if not line.strip():
            return None
        method, target, _ = line.decode("latin-1").split(" ", 2)
        headers = {}
        while (line := stream.readline(1 << 20).strip()):
            name, _, value = line.decode("latin-1").partition(":")
            headers[name.lower()] = value.strip()
        return Request(method, target, headers, stream.read(int(headers.get("content-length", 0))), self)

    def ask_behind(self, request):
        if self.behind is None:
            return Reply(404, body=b"{}")
        connection = http.client.HTTPConnection("127.0.0.1", self.behind.port, timeout=60)
        headers = {name: value for name, value in request.headers.items() if name in PASSED_ON}
        try:
            connection.request(request.method, request.target, request.body or None, headers)
            answer = connection.getresponse()
            body = answer.read()
        except OSError:
            return drop(request)
        finally:
            connection.close()
        headers = [(name, value) for name, value in answer.getheaders()
                   if name.lower() not in ("content-length", "connection", "transfer-encoding", "keep-alive")]
        if "json" in (answer.getheader("Content-Type") or ""):
            body = body.replace(f"http://127.0.0.1:{self.behind.port}".encode(), self.url.encode())
        return Reply(answer.status, headers, body)


def _linger_not(connection):
    """From now on closing it is a reset."""
    connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))


def _reset(connection):
    """Ends a connection of this thread with a reset; what was sent may be lost with it."""
    _linger_not(connection)
    socket.close(connection.detach())


def _head(answer):
    head = f"HTTP/1.1 {answer.status} {REASONS.get(answer.status, 'Unknown')}\r\n"
    headers = list(answer.headers)
    if answer.chunked:
        headers.append(("Transfer-Encoding", "chunked"))
    elif isinstance(answer.body, bytes) and answer.header("Content-Length") is None and answer.status != 204:
        headers.append(("Content-Length", str(len(answer.body))))
    elif answer.header("Content-Length") is None:
        headers.append(("Connection", "close"))
    return (head + "".join(f"{name}: {value}\r\n" for name, value in headers) + "\r\n").encode("latin-1")


def _pieces(answer):
    """The body, cut to what shall be sent, in the pieces in which it shall be."""
    source = [answer.body] if isinstance(answer.body, bytes) else answer.body()
    left = answer.cut
    for part in source:
        part = part if left is None else part[:left]
        left = None if left is None else left - len(part)
        step = answer.step if answer.drip or answer.chunked else max(1, len(part))
        for at in range(0, len(part), step):
            yield part[at:at + step]
        if left == 0:
            return


def _deliver(connection, answer, closing):
    """Whether the connection can serve another request."""
    if answer.delay and closing.wait(answer.delay):
        return False
    if answer.raw is not None:
        for piece in [answer.raw] if isinstance(answer.raw, bytes) else answer.raw():
            connection.sendall(piece)
    else:
        connection.sendall(_head(answer))
        for piece in _pieces(answer):
            if answer.drip and closing.wait(answer.drip):
                return False
            connection.sendall(b"%x\r\n%s\r\n" % (len(piece), piece) if answer.chunked else piece)
    if answer.silent:
        connection.settimeout(0.2)
        while not closing.is_set():
            try:
                connection.recv(1)
                return False  # the other side went
            except TimeoutError:
                pass
        return False
    if answer.cut is not None or answer.raw is not None:
        if answer.reset:
            _reset(connection)
        return False
    if answer.chunked:
        connection.sendall(b"0\r\n\r\n")
    whole = isinstance(answer.body, bytes) or answer.chunked
    return whole and (answer.header("Connection") or "").lower() != "close"
