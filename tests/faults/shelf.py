"""Package files of a made-up server, handed out the way that a row wants it."""

import hashlib
import itertools
import json
import shutil
from dataclasses import dataclass, field
from urllib.parse import unquote

from fleet import FrontedServer
from folders import Instance
from proxy import Reply, Rule

SECTIONS = "packages,jcdsFiles,distributionPoints,packageFiles"
SIGNATURE = "Signature=made-up-5f0c2b"  # of each signed URL: nobody may write it down
CLOUD, SHARE = "cloud", "share"


def content(size, version=0):
    """Bytes of which no two places look alike."""
    key = b"%d:" % version
    return b"".join(hashlib.sha256(key + b"%d" % n).digest() for n in range(size // 32 + 1))[:size]


@dataclass
class Package:
    name: str
    data: bytes = b""
    type: str = "SHA_512"
    value: str = None  # None is the right SHA-512 digest
    size: str = None  # None is the right one
    places: tuple = (CLOUD,)
    etag: str = '"1"'
    modified: str = ""
    cloud: dict = field(default_factory=dict)  # members of its entry in the cloud's list

    def record(self, number):
        value = hashlib.sha512(self.data).hexdigest() if self.value is None else self.value
        return {"id": str(number), "packageName": f"Package {number}", "fileName": self.name, "hashType": self.type,
                "hashValue": value, "size": str(len(self.data)) if self.size is None else self.size}

    def entry(self):
        return {"fileName": self.name, "length": len(self.data), "md5": "", "region": "x", **self.cloud}

    def validators(self):
        return [(name, value) for name, value in (("ETag", self.etag), ("Last-Modified", self.modified)) if value]


def ranged(package, request):
    """The reply of a good server."""
    total = len(package.data)
    asked = request.headers.get("range", "")
    same = request.headers.get("if-range") in (None, package.etag, package.modified)
    if not asked or not same:
        return Reply(200, package.validators(), package.data)
    begin = int(asked.removeprefix("bytes=").rstrip("-"))
    if begin >= total:
        return Reply(416, [("Content-Range", f"bytes */{total}"), *package.validators()])
    return part(package, begin)


def part(package, begin, end=None, range=None, data=None):
    """A 206 with these bytes, whatever it says of them in its Content-Range; an empty one leaves it out."""
    end = len(package.data) if end is None else end
    if range is None:
        range = f"bytes {begin}-{end - 1}/{len(package.data)}"
    fields = [("Content-Range", range)] if range else []
    return Reply(206, fields + package.validators(), package.data[begin:end] if data is None else data)


class Shelf:
    """A server in front of the sample server that has these packages and no others.

    `answer` is called with the package, the request and how often the package was asked for, from 1; it gives a Reply
    or nothing for that of a good server.
    """

    def __init__(self, stage):
        self.stage = stage
        self.programs = stage.programs
        self.server = stage.keep(FrontedServer(stage.programs))
        self.front = self.server.front
        self.programs.secrets.append(SIGNATURE)
        self.roots = itertools.count(1)
        self.urls = itertools.count(1)
        self.begin([])
        self.points = False
        self.answer = lambda package, request, number: None

    def begin(self, packages):
        """Offers packages to a backup into a folder that never was."""
        self.root = self.stage.fresh(f"root-{next(self.roots)}")
        shutil.rmtree(self.root.with_name(f"root-{int(self.root.name.split('-')[1]) - 1}"), ignore_errors=True)
        self.offer(packages)

    def offer(self, packages):
        self.packages = packages
        self.asked = {}
        self.strange = []  # paths of requests for files that no package has
        self.front.forget()
        self.front.rules = [
            Rule("/api/v1/packages", lambda request: _json(
                {"totalCount": len(self.packages),
                 "results": [each.record(n) for n, each in enumerate(self.packages, 1)]})),
            Rule("/api/v1/jcds/files", lambda request: _json(
                [each.entry() for each in self.packages if CLOUD in each.places])),
            Rule("/api/v1/jcds/files/.*", self._signed),
            Rule("/JSSResource/distributionpoints", lambda request: _json(
                {"distribution_points": [{"id": 1, "name": "Share"}] if self.points else []})),
            Rule("/JSSResource/distributionpoints/id/1", lambda request: _json({"distribution_point": {
                "id": 1, "name": "Share", "http_downloads_enabled": True, "no_authentication_required": True,
                "http_url": self.front.url + "/share/"}})),
            Rule("/cdn/.*", lambda request: self._file(request, "/cdn/", CLOUD)),
            Rule("/share/.*", lambda request: self._file(request, "/share/Packages/", SHARE)),
        ]

    def _signed(self, request):
        name = request.path.removeprefix("/api/v1/jcds/files/")
        return _json({"uri": f"{self.front.url}/cdn/{name}?{SIGNATURE}&number={next(self.urls)}"})

    def _file(self, request, prefix, place):
        name = unquote(request.path.removeprefix(prefix), errors="surrogateescape")
        package = next((each for each in self.packages if each.name == name and place in each.places), None)
        if package is None or not request.path.startswith(prefix):
            self.strange.append(request.path)
            return Reply(404)
        self.asked[name] = self.asked.get(name, 0) + 1
        return self.answer(package, request, self.asked[name]) or ranged(package, request)

    def arguments(self, attempts=2):
        options = self.server.options()
        options[options.index("--attempts") + 1] = attempts
        return ["backup", "--to", self.root, *options, "--only", SECTIONS, "--no-reports", "--quiet", "--downloads", "8"]

    def backup(self, *more, attempts=2):
        return self.programs.run("orvik", *self.arguments(attempts), *more)

    def found(self):
        """What the newest backup says of each package file, by name."""
        instance = Instance(self.root)
        backups = instance.backups()
        if not backups:
            return {}
        return {item["id"]: item["file"] for item in instance.index(backups[-1], "packageFiles")["items"]}

    def stored(self, file):
        """The bytes of a file that a backup has; none where they are not there."""
        path = next((Instance(self.root).store / "files").rglob(file.get("sha256", "none") + "*"), None)
        return path.read_bytes() if path else None

    def part(self, package):
        """Where a download of it waits to be taken up."""
        name = hashlib.sha256(package.name.encode()).hexdigest()
        return Instance(self.root).store / "downloads" / f"{name}.part"

    def outcome(self, package):
        """"right", "flagged", "failed", or what is wrong: bytes that pass for the file and are not."""
        file = self.found().get(package.name, {})
        if file.get("status") == "failed" and file.get("message"):
            return "failed"
        if file.get("status") not in ("downloaded", "reused"):
            return f"it is {file.get('status', 'not there')}"
        data = self.stored(file)
        if data is None or hashlib.sha256(data).hexdigest() != file["sha256"]:
            return "its bytes are not in the store"
        if data == package.data and file.get("jamfHashVerified") is not False:
            return "right"
        if file.get("jamfHashVerified") is False and file.get("message"):
            return "right but flagged" if data == package.data else "flagged"
        return f"{len(data)} wrong bytes pass for {len(package.data)}"


def _json(tree):
    return Reply(200, [("Content-Type", "application/json")], json.dumps(tree).encode())
