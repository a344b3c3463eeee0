"""Plants what the checks of the downloads' rows have to find."""

from folders import Instance
from group_e_races import reports
from group_i import Case, backed_up, interrupted
from group_i_sources import proper, surroundings, told_of
from proxy import Reply
from shelf import Package, Shelf, content


def problem(outcome):
    return [] if outcome == "right" else [outcome]


def plants(stage):
    """Each planted fault with what its check says."""
    shelf = Shelf(stage)
    good, other = Package("good.pkg", content(3000)), Package("good.pkg", content(3000, 1))
    shelf.begin([good])
    shelf.backup()
    if problem(shelf.outcome(good)):
        raise RuntimeError("a good package is not right")
    yield "other bytes that pass for a file", problem(shelf.outcome(other))
    yield "other bytes behind a status", told_of(shelf, other, shelf.found()["good.pkg"])
    yield "a package that no backup tells of", told_of(shelf, other, None)
    yield "a failure without a reason", told_of(shelf, other, {"status": "failed"})
    before = surroundings(stage, shelf)
    (stage.folder / "escaped").write_text("x")
    yield "a file outside of the folder", [*(surroundings(stage, shelf).items() ^ before.items())]
    stored = next((Instance(shelf.root).store / "files").rglob("*.*"), None) or next(
        each for each in (Instance(shelf.root).store / "files").rglob("*") if each.is_file())
    stored.write_bytes(b"damaged")
    yield "a stored file that is damaged", problem(shelf.outcome(good))
    stored.unlink()
    yield "a stored file that is gone", problem(shelf.outcome(good))
    for path in ("/cdn/../x", "/cdn/%2E%2e/x", "/share/x.pkg", "/etc/passwd", "/cdn/a b", "/api/v1/jcds/files/./x"):
        yield f"a request for {path}", [] if proper(path) else [path]

    empty = Case("empty", Package("empty.pkg", content(3000), value=""), lambda *_: Reply(200))
    broken = Case("broken off", Package("broken.pkg", content(9000)), interrupted)
    flagged = Case("wrong", Package("wrong.pkg", content(3000), value="0" * 128), lambda *_: None)
    tally, stage.tally = stage.tally, type(stage.tally)()
    shelf.begin([])
    wrong = backed_up(stage, shelf, [empty, broken, flagged])
    found, stage.tally = stage.tally, tally
    for case in (empty, broken, flagged):
        yield f"a download that is {case.name}", [each for each in found.failures if each.startswith(case.name)]
    yield "wrong bytes that nothing tells of", ["counted"] if wrong == 1 else []
    yield "a report of the thread sanitizer", reports("x\nSUMMARY: ThreadSanitizer: data race a.cpp:1 in f\ny")
