"""Group I: package files from servers that send something else than they were asked for."""

import hashlib
import itertools
from dataclasses import dataclass

from campaign import row
from proxy import Reply
from shelf import Package, Shelf, content, part, ranged

SIZE, CUT = 20_000, 5_000


@dataclass
class Case:
    """A package of its own, how the server answers for it, and what may become of it."""

    name: str
    package: Package
    answer: object
    allowed: tuple = ("right",)


def interrupted(package, request, count):
    """The beginning of a file, and then nothing more for this run."""
    return Reply(200, package.validators(), package.data, cut=CUT) if count == 1 else Reply(503)


def backed_up(stage, shelf, cases):
    """One backup of all packages of the cases; what became of each is a try. How many are wrong unseen."""
    answers = {case.package.name: case.answer for case in cases}
    shelf.offer([case.package for case in cases])
    shelf.answer = lambda package, request, count: answers[package.name](package, request, count)
    end = shelf.backup()
    stage.tally.add("the backup", [] if end.status == 0 else [f"it fails: {end.text()}"])
    outcomes = [shelf.outcome(case.package) for case in cases]
    for case, outcome in zip(cases, outcomes):
        stage.tally.add(case.name, [] if outcome in case.allowed else [outcome])
    return sum("pass for" in each for each in outcomes)


def answers_to_ranges():
    """(name, what comes in place of the rest of a file, whether it is good for the file)"""
    chunked = {"chunked": True}
    yield "200 with all", lambda p: Reply(200, p.validators(), p.data), True
    yield "200 in chunks", lambda p: Reply(200, p.validators(), p.data, **chunked), True
    yield "200 without length", lambda p: Reply(200, p.validators(), lambda: [p.data]), True
    yield "206 in chunks", lambda p: _with(part(p, CUT), **chunked), True
    yield "206 without Content-Range", lambda p: part(p, CUT, range=""), True
    yield "206 of unknown total", lambda p: part(p, CUT, range=f"bytes {CUT}-{SIZE - 1}/*"), True
    yield "206, then the rest of the rest", lambda p: part(p, CUT, CUT + 100), True
    for begin in (0, 1, CUT - 1, CUT + 1, SIZE - 1):
        yield f"206 from {begin}", lambda p, b=begin: part(p, b), False
        yield f"206 from {begin} in chunks", lambda p, b=begin: _with(part(p, b), **chunked), False
    for text in ("bytes */20000", "bytes 5000-19999/0", "bytes 5000-19999/-1", "bytes 5000-19999/4999",
                 "bytes 5000-19999/5000", "bytes 5000-19999/19999", "bytes 5000-19999/20001",
                 "bytes 5000-19999/99999999999999999999",
                 "bytes 5000-19999/abc", "5000-19999/20000", "bytes 19999-5000/20000", "bytes -1-19999/20000",
                 "bytes 0-14999/20000", "bytes 5001-19999/20000", "bytes 5000-99999999999999999999/20000", "bytes", "/",
                 "bytes 5000-19999", "items 5000-19999/20000", "bytes=5000-19999/20000", "bytes 5000 - 19999 / 20000",
                 "bytes 0x1388-0x4e1f/0x4e20", "x" * 4000):
        yield f"206 with {text[:40]!r}", lambda p, t=text: part(p, CUT, range=t), False
    yield "206 without Content-Range, from 0", lambda p: part(p, 0, range=""), False
    yield "206 with too few bytes", lambda p: part(p, CUT, data=p.data[CUT:-1]), False
    yield "206 with too many bytes", lambda p: part(p, CUT, data=p.data[CUT:] + b"x"), False
    yield "206 with no bytes", lambda p: part(p, CUT, data=b""), False
    yield "206 of many parts", lambda p: _with(part(p, CUT, range=""), headers=[
        ("Content-Type", "multipart/byteranges; boundary=x")]), False
    yield "204", lambda p: Reply(204), False
    yield "an empty 200", lambda p: Reply(200), False


def _with(reply, **more):
    for name, value in more.items():
        setattr(reply, name, value)
    return reply


@row("I1", "Ranges that are ignored, begin elsewhere, or are told absurdly")
def odd_ranges(stage):
    shelf, cases = Shelf(stage), []
    for name, make, good in answers_to_ranges():
        for hashed, often in itertools.product((True, False), ("once", "always")):
            package = Package(f"{len(cases)}.pkg", content(SIZE, len(cases)), value=None if hashed else "")

            def answer(package, request, count, make=make, often=often):
                if count == 1:
                    return Reply(200, package.validators(), package.data, cut=CUT)
                is_next = request.headers.get("range") == f"bytes={CUT}-"
                return make(package) if is_next and (often == "always" or count == 2) else None

            allowed = ["right"] if good or often == "once" else ["right", "failed"]
            if name in ("206 with no bytes", "204"):
                allowed = ["failed"]  # it brings nothing, and uses up the attempts or is no failure that passes
            if name == "an empty 200":
                if not hashed:
                    continue
                allowed = ["flagged"]
            cases.append(Case(f"{name}, {often}, {'with' if hashed else 'without'} a hash", package, answer, allowed))
    wrong = backed_up(stage, shelf, cases)
    stage.tally.worst = f"{wrong} wrong unseen"
    stage.tally.note = "left out: an empty answer for a file without a hash, which nothing tells from an empty file"


@row("I2", "A 416 for whole, short and too long parts")
def unsatisfiable(stage):
    shelf, cases, parts = Shelf(stage), [], []
    for kept, told, often, hashed in itertools.product((1, CUT, SIZE - 1, SIZE, SIZE + 500),
                                                       ("right", "none", "as long", "any"), ("once", "always"),
                                                       (True, False)):
        package = Package(f"{len(cases)}.pkg", content(SIZE, len(cases)), value=None if hashed else "")
        refusal = {"right": [("Content-Range", f"bytes */{SIZE}")], "none": [], "any": [("Content-Range", "bytes */*")],
                   "as long": [("Content-Range", f"bytes */{kept}")]}[told]

        def answer(package, request, count, often=often, refusal=refusal):
            refused = "range" in request.headers and (often == "always" or count == 1)
            return Reply(416, refusal) if refused else None

        parts.append((package, kept))
        cases.append(Case(f"{kept} of {SIZE} bytes, the total is told {told}, {often}, {'with' if hashed else 'no'} hash",
                          package, answer, ["right"]))
    shelf.offer([case.package for case in cases])
    shelf.answer = interrupted
    shelf.backup()
    for package, kept in parts:
        if shelf.part(package).stat().st_size != CUT:
            raise RuntimeError("no part waits to be taken up")
        shelf.part(package).write_bytes((package.data + package.data)[:kept])
    wrong = backed_up(stage, shelf, cases)
    stage.tally.worst = f"{wrong} short files called whole"


def replacements():
    """(name, what the first version says of itself, what the second one says, whether the server heeds If-Range)"""
    tags = ({"etag": '"1"'}, {"etag": '"2"'})
    dates = tuple({"etag": "", "modified": f"Mon, 20 Jul 2026 06:00:0{n} GMT"} for n in (1, 2))
    weak = ({"etag": 'W/"1"'}, {"etag": 'W/"2"'})
    gone = ({"etag": '"1"'}, {"etag": ""})
    for name, (first, second) in {"a tag": tags, "a date": dates, "a weak tag": weak, "a tag that is gone": gone,
                                  "nothing": ({"etag": ""}, {"etag": ""})}.items():
        for heeds in (True, False):
            yield name, first, second, heeds


@row("I3", "The file is replaced between two attempts, or between two runs")
def replaced(stage):
    shelf, wrong, left_out = Shelf(stage), 0, 0
    for runs in (1, 2):
        olds, cases = [], []
        for (name, one, two, heeds), growth, hashes in itertools.product(
                replacements(), (0, 700, -700), ("the old hash", "the new hash", "no hash")):
            if name not in ("a tag", "a date") and growth == 0 and hashes == "no hash":
                left_out += 1
                continue
            number = len(cases)
            old = Package(f"{number}.pkg", content(SIZE, number), **one)
            new = Package(old.name, content(SIZE + growth, number + 1000), **two)
            values = {"the old hash": sha512(old.data), "the new hash": sha512(new.data), "no hash": ""}
            old.value = new.value = values[hashes]

            def answer(package, request, count, old=old, heeds=heeds, runs=runs):
                if runs == 1 and count == 1:
                    return Reply(200, old.validators(), old.data, cut=CUT)
                if not heeds:
                    request.headers.pop("if-range", None)
                return ranged(package, request)

            olds.append(old)
            heeding = "heeded" if heeds else "not heeded"
            cases.append(Case(f"{name} tells them apart, {heeding}, {growth:+} bytes, {hashes}, {runs} runs", new,
                              answer, ["right", "flagged", "right but flagged"]))
        shelf.begin(olds)
        if runs == 2:
            shelf.answer = interrupted
            shelf.backup()
            if not all(shelf.part(each).exists() for each in olds):
                raise RuntimeError("no part waits to be taken up")
        wrong += backed_up(stage, shelf, cases)
    stage.tally.worst = f"{wrong} spliced unseen"
    stage.tally.note = f"left out: {left_out} cases where neither size, hash nor validator tells two versions apart"


def sha512(data):
    return hashlib.sha512(data).hexdigest()
