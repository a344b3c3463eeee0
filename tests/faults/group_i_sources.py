"""Group I: signed URLs that run out, hashes of all kinds, large files, and package names that want out of their folder."""

import hashlib
import json
import os
import shutil
import signal
import time

from campaign import NotRun, row
from folders import Instance, snapshot
from injection import MemoryWatch
from proxy import Reply
from shelf import CLOUD, SHARE, Package, Shelf, content, ranged

MIB = 1 << 20


class Fragile:
    """Answers through URLs that are good for so many bytes, on connections that drop after so many.

    Every second new URL has run out before it is used.
    """

    def __init__(self, life, drop, reset):
        self.life, self.drop, self.reset = life, drop, reset
        self.used, self.sent, self.refused = {}, 0, 0

    def __call__(self, package, request, count):
        url = request.query["number"]
        if self.life and url not in self.used and len(self.used) % 2:
            self.used[url] = self.life
        used = self.used.setdefault(url, 0)
        if self.life and used >= self.life:
            self.refused += 1
            return Reply(403)
        reply = ranged(package, request)
        left = min(each for each in (self.life and self.life - used, self.drop, len(reply.body)) if each is not None)
        if left < len(reply.body):
            reply.cut, reply.reset = left, self.reset
        self.used[url] += left
        self.sent += left
        return reply


@row("I4", "Signed URLs that run out every 3 MB, connections that drop every 5 MB")
def broken_off(stage):
    shelf = Shelf(stage)
    size = stage.size(11, 100) * 1_000_000 + 12345
    most = 0
    for number, (name, life, drop, reset) in enumerate((
            ("URLs run out", 3_000_000, None, False), ("it drops", None, 5_000_000, False),
            ("it is reset", None, 5_000_000, True), ("both", 3_000_000, 2_500_000, True),
            ("both, at odd places", 3_000_017, 1_999_999, False))):
        package = Package("large file.pkg", content(size, number))
        server = Fragile(life, drop, reset)
        shelf.begin([package])
        shelf.answer = server
        end = shelf.backup(attempts=3)
        problems = [] if end.status == 0 else [f"the backup fails: {end.text()}"]
        outcome = shelf.outcome(package)
        problems += [] if outcome == "right" else [outcome]
        urls, requests = len(shelf.front.seen("/api/v1/jcds/files/.+")), len(shelf.front.seen("/cdn/.*"))
        most = max(most, requests)
        if urls != requests:
            problems.append(f"{requests} requests with {urls} URLs")
        if requests < size // 5_000_000 or life and not server.refused:
            problems.append(f"nothing was broken: {requests} requests")
        # A reset takes with it what was on its way, so that it comes again.
        if not reset and server.sent > size:
            problems.append(f"{server.sent - size} bytes came twice")
        stage.tally.add(f"{name}, {size} bytes", problems)
    stage.tally.worst = f"{most} requests for {size // 1_000_000} MB"


def hash_cases():
    """(type, value of some bytes, whether it counts as verified: True, False, or None for not known)"""
    digests = {"MD5": hashlib.md5, "SHA_512": hashlib.sha512, "SHA512": hashlib.sha512, "SHA_256": hashlib.sha256,
               "SHA256": hashlib.sha256}
    for type, digest in digests.items():
        for spelled in (type, type.lower(), type.title()):
            yield spelled, lambda data, d=digest: d(data).hexdigest(), True
        yield type, lambda data, d=digest: d(data).hexdigest().upper(), True
        yield type, lambda data, d=digest: d(data + b"x").hexdigest(), False
        yield type, lambda data, d=digest: d(data).hexdigest()[:-1], False
        yield type, lambda data, d=digest: d(data).hexdigest() + "0", False
        yield type, lambda data, d=digest: "no digest at all", False
        yield type, lambda data, d=digest: "", None
        yield type, lambda data, d=digest: None, None
    for type in ("SHA3_512", "SHA_1", "CRC32", "MD-5", "sha-256", "", "SHA_512 ", "\u0053HA\u2065512", "x" * 1000, None):
        yield type, lambda data: hashlib.sha512(data).hexdigest(), None
    yield "MD5", lambda data: hashlib.sha512(data).hexdigest(), False
    yield "SHA_512", lambda data: hashlib.md5(data).hexdigest(), False


class Hashed(Package):
    """A package whose record has this hash, be it null or missing."""

    def record(self, number):
        return {**super().record(number), "hashValue": self.value}


@row("I5", "Recorded hashes: wrong, in capitals, empty, cut, of unknown types")
def hashes(stage):
    shelf = Shelf(stage)
    packages, expected = [], {}
    for number, (type, value, verified) in enumerate(hash_cases()):
        data = content(3000, number)
        package = Hashed(f"{number}.pkg", data, type, value(data))
        packages.append(package)
        expected[package.name] = verified
    cloud = content(3000, 5000)
    for name, entry, verified in (("cloud.pkg", {"md5": hashlib.md5(cloud).hexdigest()}, True),
                                  ("wrong cloud.pkg", {"md5": hashlib.md5(b"x").hexdigest()}, False),
                                  ("no cloud.pkg", {"md5": None}, None)):
        packages.append(Hashed(name, cloud, None, None, cloud=entry))
        expected[name] = verified
    shelf.begin(packages)
    for turn in ("downloaded", "reused"):
        end = shelf.backup()
        stage.tally.add(f"the backup, {turn}", [] if end.status == 0 else [end.text()])
        found = shelf.found()
        for package in packages:
            file = found.get(package.name, {})
            problems = [] if shelf.stored(file) == package.data else ["its bytes are not in the store"]
            if file.get("jamfHashVerified") is not expected[package.name]:
                problems.append(f"verified: {file.get('jamfHashVerified')}, not {expected[package.name]}")
            if bool(file.get("message")) != (expected[package.name] is False and turn == "downloaded"):
                problems.append(f"the message is {file.get('message')}")
            if file.get("status") != turn:
                problems.append(f"it is {file.get('status')}, not {turn}")
            value = package.value or package.cloud.get("md5")
            if expected[package.name] is not None and not file.get("jamfHash", "").endswith(":" + value.lower()):
                problems.append(f"the hash is kept as {file.get('jamfHash')}")
            stage.tally.add(f"{turn}, {str(package.type)[:20]!r}: {str(package.value)[:20]!r}", problems)


class Generated(Package):
    """A file of so many MiB that is nowhere: each MiB is made when it is sent."""

    block = content(MIB - 8)

    def __init__(self, name, blocks):
        super().__init__(name, value="")
        self.length = blocks * MIB
        self.digest = ""

    def pieces(self, begin=0):
        for number in range(begin // MIB, self.length // MIB):
            piece = number.to_bytes(8, "big") + self.block
            yield piece[begin % MIB:] if number == begin // MIB else piece

    def entry(self):
        return {**super().entry(), "length": self.length}

    def record(self, number):
        return {**super().record(number), "hashType": "SHA_256", "hashValue": self.digest, "size": str(self.length)}

    def hash(self):
        digest = hashlib.sha256()
        for piece in self.pieces():
            digest.update(piece)
        self.digest = digest.hexdigest()


@row("I6", "A file of many gigabytes, stopped in the middle and taken up")
def large(stage):
    shelf = Shelf(stage)
    blocks = stage.size(100, 6144)
    if shutil.disk_usage(stage.folder).free < 2 * blocks * MIB:
        raise NotRun(f"there is no room for {2 * blocks // 1024} GiB")
    package = Generated("large.pkg", blocks)
    package.hash()
    sent = []

    def answer(package, request, count):
        begin = int(request.headers.get("range", "bytes=0-").removeprefix("bytes=").rstrip("-"))
        fields = [("Content-Length", str(package.length - begin)), *package.validators()]
        if begin:
            fields.append(("Content-Range", f"bytes {begin}-{package.length - 1}/{package.length}"))

        def body():
            for piece in package.pieces(begin):
                sent.append(len(piece))
                yield piece

        return Reply(206 if begin else 200, fields, body)

    shelf.begin([package])
    shelf.answer = answer
    peak, started, problems, stops = 0.0, time.monotonic(), [], 3
    for turn in range(1, stops + 2):
        running = stage.programs.start("orvik", *shelf.arguments())
        watch = MemoryWatch(running.pid)
        part = shelf.part(package)
        enough = turn * package.length // (stops + 1)
        while turn <= stops and running.running() and not (part.exists() and part.stat().st_size >= enough):
            time.sleep(0.002)
        if turn <= stops:
            running.send(signal.SIGTERM)
        end = running.wait(1200)
        watch.close()
        peak = max(peak, watch.peak)
        if end.status != (130 if turn <= stops else 0):
            problems.append(f"run {turn} ends with {end.text()}")
    seconds = time.monotonic() - started
    file = shelf.found().get("large.pkg", {})
    if file.get("sha256") != package.digest or file.get("jamfHashVerified") is not True:
        problems.append(f"it is not the file: {file}")
    if sum(sent) - package.length > stops * 64 * MIB:
        problems.append(f"{(sum(sent) - package.length) // MIB} MiB came twice")
    stage.tally.add(f"{blocks} MiB, stopped {stops} times", problems)
    stage.tally.add("memory", [] if 10 < peak < 200 else [f"{peak:.0f} MB"])
    stage.tally.worst = f"{peak:.0f} MB, {blocks / seconds:.0f} MB/s with hashing and {stops} stops"


def hostile_names():
    """Names that want out of the folder of packages, or confuse who reads a path."""
    for up in ("../", "../../", "../" * 20, "a/../../", "./../", "..\\", "..%2f", "%2e%2e/", "..%252f", "....//", ".../",
               "\u2025/", "\uff0e\uff0e/", "..;/", "\\..\\", "//", "/", "./", "/../", "?/../", "#/../"):
        yield up + "secret.txt"
    yield from ("..", ".", "/", "//", "a/", "/etc/passwd", "/proc/self/environ", "file:///etc/passwd",
                "http://evil.example/x", "//evil.example/x", "C:\\secret.txt", "~/secret.txt", "$HOME/secret.txt", "`id`",
                "-rf", "a\nb", "a\r\nX: y", "a\tb", "a\0b", "\x1b[31mred", "a?b", "a#b", "a%b", "a%00b", "a b", "a+b",
                "a&b", "a;b", "a:b", 'a"b', "a'b", "a|b", "a*b", "CON", "aux.pkg", "a.", " a", "a ", ".part",
                ".json", "backup.lock", "manifest.json", "x" * 255, "x" * 256,
                "\u00e9" * 200, "x" * 5000, "\u202epkg.exe", "\U0001f4a9", "\u2028")


@row("I7", "Hostile package names on the cloud, a file share and a mounted share")
def hostile(stage):
    shelf = Shelf(stage)
    shelf.points = True
    mount = stage.fresh("mounted")
    secret = content(500, 99)
    planted = [stage.folder / "secret.txt", mount / "secret.txt", mount / "Packages" / "deep" / "secret.txt"]
    for each in planted:
        each.parent.mkdir(parents=True, exist_ok=True)
        each.write_bytes(secret)
    escapes = 0
    for place in (CLOUD, SHARE, "mount"):
        packages = [Package(name, content(200, number), places=(place,)) for number, name in enumerate(hostile_names())]
        for package in packages if place == "mount" else ():
            can_lie = not {"/", "\0"} & set(package.name) and len(os.fsencode(package.name)) < 256
            if can_lie and package.name not in ("", ".", ".."):
                (mount / "Packages" / package.name).write_bytes(package.data)
        shelf.begin(packages)
        before = surroundings(stage, shelf)
        end = shelf.backup("--mount", mount)
        stage.tally.add(f"{place}: the backup", [] if end.status == 0 else [end.text()])
        changed = surroundings(stage, shelf).items() ^ before.items()
        outside = [seen.target for seen in shelf.front.seen() if not proper(seen.path)]
        stolen = [name for name in Instance(shelf.root).held() if name == hashlib.sha256(secret).hexdigest()]
        stage.tally.add(f"{place}: nothing outside is written", [f"{name} changed" for name, _ in changed])
        stage.tally.add(f"{place}: nothing else is asked for", [f"{each!r} was asked" for each in outside])
        stage.tally.add(f"{place}: nothing outside is read", ["a file from outside is in the store"] * len(stolen))
        escapes += len(changed) + len(outside) + len(stolen)
        found = shelf.found()
        for package in packages:
            stage.tally.add(f"{place}: {package.name[:40]!r}", told_of(shelf, package, found.get(package.name)))
        end = stage.programs.run("orvikctl", "verify", Instance(shelf.root).path, Instance(shelf.root).backups()[-1])
        stage.tally.add(f"{place}: verify", [] if end.status == 0 else [end.text()])
    stage.tally.worst = f"{escapes} escapes"


def surroundings(stage, shelf):
    """All that lies in the stage but the folder of the backup itself."""
    return {name: digest for name, digest in snapshot(stage.folder).items() if not name.startswith(shelf.root.name)}


def proper(path):
    """Whether a request's path is one that a server of packages is asked for, and not one that it walks up from."""
    if any(word in (".", "..") for word in path.lower().replace("%2e", ".").split("/")):
        return False
    prefixes = ("/api/v1/jcds/files", "/cdn/", "/share/Packages/", "/api/", "/JSSResource/distributionpoints")
    return path.startswith(prefixes) and not any(ord(letter) <= 32 or ord(letter) > 126 for letter in path)


def told_of(shelf, package, file):
    """It has its own bytes, or a reason is told."""
    if file is None:
        return ["the backup does not tell of it"] if package.name else []
    if file.get("status") == "downloaded":
        return [] if shelf.stored(file) == package.data else ["other bytes pass for it"]
    return [] if file.get("status") in ("failed", "unavailable") and file.get("message") else [json.dumps(file)]
