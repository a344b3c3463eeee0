"""Group K, continued: what people are given of objects with odd names, as documents and as files."""

import json
import re
import subprocess
import unicodedata

from campaign import row
from damage import calm
from fleet import Server
from injection import require
from scene import Scene
from tending import SECTIONS, two_backups

LONG = "x" * 1_000_000
TEXTS = {
    "right to left": "סקריפט של בית הספר العربية \u202eexe.gnp\u202c 123",
    "emoji": "🏫 👩‍🏫 👨‍👩‍👧‍👦 🇩🇪 🏳️‍🌈 e\u0301\u0302\u0303",
    "control characters": "".join(map(chr, range(1, 32))) + "\x7f\x80\x9b",
    "line feeds": "one\ntwo\r\nthree\u2028four\u2029five\u000bsix",
    "many marks": "Z" + "\u0335\u0336\u0489" * 300,
    "writings of the world": "学校 초등학교 โรงเรียน विद्यालय მასწავლებელი Σχολείο школа ፊደል ᠮᠣᠩᠭᠣᠯ",
    "no characters": "\ufffe\uffff\ue000\U000f0000\U0010ffff",
    "markup": "<b>&amp;</b> %s %n ${HOME} `x` (\\) \\escape) endstream endobj",
    "no letters": "\u200b\u200d\ufeff\u00ad",
    "nothing": "",
    "blanks": " " * 500,
    "10,000 letters": "Wartung " * 1250,
    "10^6 letters": LONG,
    "10^6 letters with blanks": "word " * 200_000,
    "10^6 wide letters": "学" * 1_000_000,
}


def named(instance, section, names):
    """The section's newest index has these objects, with contents of those that it had."""
    path = instance.backups_path / instance.backups()[-1] / "sections" / f"{section}.json"
    index = json.loads(path.read_text())
    models = index["items"]
    index["items"] = [{**models[n % len(models)], "id": str(n + 1), "name": name, "change": "new"}
                      for n, name in enumerate(names)]
    path.write_text(json.dumps(index, ensure_ascii=False))
    return index


def counted(instance, section, total):
    """The manifest says so many new objects of a section."""
    path = instance.backups_path / instance.backups()[-1] / "manifest.json"
    manifest = json.loads(path.read_text())
    for each in manifest["sections"]:
        if each["id"] == section:
            each["counts"].update(total=total, new=total, changed=0, unchanged=0)
    manifest["totals"]["newOrChangedObjects"] = total
    path.write_text(json.dumps(manifest))


class Readers:
    """Two readers of PDF documents that were not written by those who wrote the documents."""

    def __init__(self):
        self.qpdf, self.info = require("qpdf"), require("pdfinfo")
        self.text, self.draw = require("pdftotext"), require("pdftoppm")

    def problems(self, path):
        """What they say against a document, and its pages."""
        problems = []
        checked = subprocess.run([self.qpdf, "--check", path], capture_output=True, text=True)
        if checked.returncode:
            problems.append(f"{path.name}: {checked.stdout[-150:]} {checked.stderr[-150:]}")
        about = subprocess.run([self.info, path], capture_output=True, text=True, errors="replace")
        counts = re.findall(r"^Pages: +(\d+)", about.stdout, re.M)
        pages = int(counts[0]) if counts else 0
        if about.returncode or about.stderr or not pages:
            problems.append(f"{path.name}: {pages} pages, {about.stderr[-150:]}")
        numbered = subprocess.run([self.qpdf, "--show-npages", path], capture_output=True, text=True).stdout.strip()
        if numbered != str(pages):
            problems.append(f"{path.name}: {pages} pages for one reader, {numbered} for the other")
        for page in {1, pages} - {0}:
            drawn = subprocess.run([self.draw, "-r", "20", "-f", str(page), "-l", str(page), path], capture_output=True)
            if drawn.returncode or drawn.stderr or len(drawn.stdout) < 1000:
                problems.append(f"{path.name}: page {page} can't be drawn: {drawn.stderr[-150:]!r}")
        return problems, pages

    def words(self, path):
        return subprocess.run([self.text, "-layout", path, "-"], capture_output=True, text=True, errors="replace").stdout


@row("K6", "Reports of odd texts, a million characters and 10,000 rows")
def reports(stage):
    readers = Readers()
    scene = Scene(stage, SECTIONS)
    source = two_backups(scene, stage.folder / "two")
    most, slowest = 0, 0.0
    cases = {name: [text] * 3 for name, text in TEXTS.items()}
    cases["all texts"] = [text for text in TEXTS.values() if len(text) < 100_000]
    rows = stage.size(2000, 10_000)
    cases[f"{rows} rows"] = [f"Object number {n}" for n in range(rows)]
    for name, names in cases.items():
        instance = scene.reset(source)
        named(instance, "scripts", names)
        counted(instance, "scripts", len(names))
        named(instance, "packages", names[:50])
        out = stage.fresh("reports")
        end = stage.programs.run("orvikctl", "report", instance.path, "--out", out, timeout=120)
        problems = calm(end, 60) + ([end.text()] if end.status != 0 else [])
        slowest = max(slowest, end.seconds)
        documents = sorted(out.glob("*.pdf"))
        if len(documents) != 2:
            problems.append(f"{len(documents)} documents")
        for document in documents:
            found, pages = readers.problems(document)
            problems += found
            most = max(most, pages)
        stage.tally.add(name, problems)
    found, pages, computers = table(stage, readers)
    stage.tally.add(f"a table of {computers} rows", found)
    stage.tally.worst = f"{max(most, pages)} pages for {computers} rows"
    stage.tally.note = f"a backup's reports took {slowest:.1f} s at most; they count objects and list but some"


def table(stage, readers):
    """What is wrong with a table that has a row for each computer of a large fleet, its pages and rows."""
    server = stage.keep(Server(stage.programs, fleet="school" if stage.quick else "enterprise"))
    paper, sheet = stage.folder / "table.pdf", stage.folder / "table.csv"
    for words in (["orgs", "add", "--name", "School", *server.identity()],
                  ["patch-report", "1", "--org", "School", "--csv", sheet, "--pdf", paper],
                  ["orgs", "remove", "School", "--yes"]):
        end = stage.programs.run("orvik", *words)
        if end.status != 0:
            return [end.text()], 0, 0
    problems, pages = readers.problems(paper)
    text = readers.words(paper)
    rows = sheet.read_text().splitlines()[1:]
    shown = len(re.findall(r" 20\d\d-\d\d-\d\d \d\d:\d\d ", text))
    if shown != len(rows) or rows[-1].split(",")[0] not in text[-2000:]:
        problems.append(f"{shown} of {len(rows)} rows are there")
    if text.count("Last Check-In") != pages:
        problems.append(f"{text.count('Last Check-In')} headings on {pages} pages")
    return problems, pages, len(rows)


RESERVED = ("CON", "nul", "COM1.txt", "aux.sh", "a.", "a ", " a", ".hidden", "..", ".", "/", "//", "a/b", "a\\b", "a:b", "a*b?",
            "<a|b>", '"', "", "\n", "\t", "a\x00b", "-", "~", "desktop.ini", "a.json", "a.sh", "a.mobileconfig")


def exports(stage):
    """What is named so, in one section."""
    wide = "学" * 200, "ä" * 200, "🏫" * 200, "e\u0301" * 200
    yield "200 characters of several bytes", wide
    yield "long names that differ at their ends", [("学" * 199) + end for end in "abcde"]
    yield "long names that differ in case", ["A" * 250, "a" * 250, "A" * 249 + "a"]
    yield "255 bytes and around", ["x" * n for n in range(190, 262, 3)]
    yield "case twins", ["Lab", "lab", "LAB", "lAb", "LaB", "Lab 2", "lab 2", "LAB 2"]
    yield "case twins of other writings", ["Ä", "ä", "ÄSS", "Äß", "äẞ", "ΣΑΣ", "σας", "ﬁ", "FI", "K", "\u212a", "İ", "i̇"]
    yield "composed and decomposed", ["é", "e\u0301", "É", "E\u0301"]
    yield "equal names", ["same"] * 12
    yield "names like those that twins get", ["same", "same", "same (2)", "same-2", "same 2", "same_2", "same (1)"]
    yield "reserved names", RESERVED
    yield "reserved names, twice", RESERVED + tuple(each.upper() for each in RESERVED)
    yield "texts", [text for text in TEXTS.values() if len(text) < 100_000]
    yield "a million characters", [LONG, LONG, "学" * 1_000_000]


def same_for_a_disk(name):
    """What disks make of a name that fold the case of single letters and compose characters."""
    return unicodedata.normalize("NFC", name.lower())


@row("K7", "Exports of names with 200 wide characters, of twins, and of reserved names")
def exported(stage):
    scene = Scene(stage, SECTIONS)
    source = two_backups(scene, stage.folder / "two")
    stage.fresh("export")
    scene.reset(source)
    beside = set(stage.folder.iterdir())
    for name, names in exports(stage):
        for section in ("scripts", "packages", "buildings"):
            instance = scene.reset(source)
            index = named(instance, section, list(names))
            out = stage.fresh("export")
            end = stage.programs.run("orvik", "export", instance.path, section, "--out", out, "--json", timeout=60)
            problems = calm(end) + ([end.text()] if end.status != 0 else [])
            told = [json.loads(line) for line in end.out.splitlines()]
            paths = [each["path"] for each in told if each.get("event") == "file"]
            there = [each for each in out.rglob("*") if each.is_file()]
            inside = [each for each in there if each.parent == out]
            # A package whose file was not to be had is told in its place.
            of = {each["id"] for each in told if each.get("event") in ("file", "skipped")}
            if len(of) != len(names) or not paths:
                problems.append(f"{len(names)} objects, {len(of)} told")
            if len({same_for_a_disk(each.name) for each in there}) != len(paths) or len(inside) != len(paths):
                problems.append(f"{len(paths)} files are told, {len(there)} are there")
            problems += [f"{each.name} lies beside the folder" for each in set(stage.folder.iterdir()) - beside]
            problems += [f"{each.name[:40]!r} is too long" for each in there if len(each.name.encode()) > 255]
            stage.tally.add(f"{name}, {section}", problems)
