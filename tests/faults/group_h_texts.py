"""Group H: numbers, texts, names and IDs that are odd but JSON, and some that are not."""

import json
from urllib.parse import unquote

from campaign import row
from canonical import canonical, name_of
from folders import snapshot
from group_h_bodies import LIST, ended, foretold, made_up, objects
from invariants import same_as
from played import Played
from programs import WARNINGS
from proxy import Reply, Rule, status

NUMBERS = ["0", "-0", "-0.0", "1.0", "1e2", "1E+2", "100", "0.1", "0.30000000000000004", "1e400", "-1e400", "1e-400",
           "4.9e-324", "2.2250738585072014e-308", "1.7976931348623157e308", "1.7976931348623159e308", "1e20", "1e21",
           "9007199254740991", "9007199254740992", "9007199254740993", "9007199254740993.0", "9223372036854775807",
           "9223372036854775808", "-9223372036854775808", "-9223372036854775809", "18446744073709551615",
           "18446744073709551616", "123456789012345680000", "0.001", "1e-05", "1.5e-07", "0.0001", "0.00001", "123e-7",
           "3." + "14159" * 40, "1" * 300, "0." + "0" * 300 + "7", "12345678.9e-3", "5e-1", "1e22", "1e23"]
HELD = [each for each in NUMBERS if abs(float(each)) < float("inf")]
NO_NUMBERS = ["01", "+1", ".5", "1.", "0x10", "NaN", "Infinity", "1e", "--1", "1_000"]
LETTERS = ["a", "Z", " ", '"', "\\", "/", "\b", "\f", "\n", "\r", "\t", "\x00", "\x1f", "\x7f", "ü", "\u2028", "\u2029",
           "\ufeff", "\uffff", "\U0001f469\u200d\U0001f4bb", "\u202e", "\u0301", "日"]


class Spelling:
    """Writes values in one of the many ways that mean the same. A tree holds numbers as their text, in a tuple."""

    def __init__(self, random, plain):
        self.random, self.plain = random, plain

    def blank(self):
        return "" if self.plain else self.random.choice(["", "", " ", "\n", "\t \r\n"])

    def text(self, text):
        parts = []
        for letter in text:
            if letter in '"\\' or letter < " " or (not self.plain and self.random.random() < 0.3):
                parts += [f"\\u{unit:04{self.random.choice('xX')}}" for unit in utf16(letter)]
            else:
                parts.append(letter)
        return '"' + "".join(parts) + '"'

    def write(self, value):
        blank = self.blank
        if isinstance(value, tuple):
            return value[0]
        if isinstance(value, str):
            return self.text(value)
        if isinstance(value, Members):
            pairs = list(value)
            if not self.plain:  # of a repeated key the last one counts, and their order does not
                pairs = list({key: each for key, each in pairs}.items())
                self.random.shuffle(pairs)
            return "{" + ",".join(f"{blank()}{self.text(key)}{blank()}:{blank()}{self.write(each)}{blank()}"
                                  for key, each in pairs) + blank() + "}"
        if isinstance(value, list):
            return "[" + ",".join(blank() + self.write(each) + blank() for each in value) + blank() + "]"
        return json.dumps(value)


class Members(list):
    """Pairs of a key and a value; keys may occur again."""


def utf16(letter):
    data = letter.encode("utf-16-be")
    return [int.from_bytes(data[at:at + 2], "big") for at in range(0, len(data), 2)]


def made_value(random, depth=0):
    kind = random.random()
    if depth > 4 or kind < 0.3:
        if random.random() < 0.6:
            return (random.choice(NUMBERS if random.random() < 0.03 else HELD),)
        return (repr(random.uniform(-1, 1) * 10.0**random.randint(-30, 30)),)
    if kind < 0.5:
        return "".join(random.choices(LETTERS, k=random.randint(0, 8)))
    if kind < 0.6:
        return random.choice([None, True, False])
    if kind < 0.75:
        return [made_value(random, depth + 1) for _ in range(random.randint(0, 4))]
    keys = random.choices(["a", "b", "A", "aa", "", "ü", "\U0001f600", "\uffff", "1"], k=random.randint(0, 6))
    return Members((key, made_value(random, depth + 1)) for key in keys)


@row("H12", "Repeated keys, 1e400, -0, 2^64 and long decimals, in two spellings each")
def numbers(stage):
    play = Played(stage)
    values = [(each,) for each in NUMBERS + NO_NUMBERS]
    values += [made_value(stage.random) for _ in range(500 - len(values))]
    plain, other = Spelling(stage.random, True), Spelling(stage.random, False)
    first = {n: f'{{"v":{plain.write(value)}}}'.encode() for n, value in enumerate(values, 1)}
    second = {n: f'{{"v":{other.write(value)}}}'.encode() for n, value in enumerate(values, 1)}
    play.backup(made_up(first))
    problems, made = foretold(play, {}), objects(play)
    stage.tally.add("the run", problems)
    play.again(made_up(second))
    again = objects(play)
    for n, body in first.items():
        problems = [] if made.get(str(n)) == name_of(body) else [f"it is kept as {made.get(str(n))}"]
        # What is no JSON, since no double holds one of its numbers, is kept as it came, and so has two names.
        if name_of(body) == name_of(second[n]) and again.get(str(n)) != made.get(str(n)):
            problems.append(f"another spelling is another object: {second[n][:80]!r}")
        stage.tally.add(repr(body[:80]), problems)
    stage.tally.add("the next run", play.recovers())
    stage.tally.worst = f"{sum(made.get(n) == again.get(n) for n in made)}/{len(made)} equal names of two spellings"


TEXTS = {
    "invalid UTF-8": b'{"name":"\xff\xfe"}',
    "overlong": b'{"name":"\xc0\xaf"}',
    "UTF-8 of a surrogate": b'{"name":"\xed\xa0\x80"}',
    "cut UTF-8": b'{"name":"\xe2\x82"}',
    "beyond Unicode": b'{"name":"\xf4\x90\x80\x80"}',
    "a lone surrogate": b'{"name":"\\ud83d"}',
    "surrogates the wrong way": b'{"name":"\\ude00\\ud83d"}',
    "a pair": b'{"name":"\\ud83d\\ude00"}',
    "NUL": b'{"name":"a\\u0000b"}',
    "a bare NUL": b'{"name":"a\x00b"}',
    "NUL behind": b'{"name":"a"}\x00',
    "a byte order mark": b'\xef\xbb\xbf{"name":"a"}',
    "line separators": '{"name":"a\u2028b\u2029c"}'.encode(),
    "a bare line end": b'{"name":"a\nb"}',
    "UTF-16": '{"name":"a"}'.encode("utf-16"),
    "from right to left": '{"name":"\u202eabc\u05d0"}'.encode(),
    "controls": b'{"name":"\\u001b[31m\\u0007\\u007f\x7f"}',
    "emoji": '{"name":"\U0001f469\u200d\U0001f4bb"}'.encode(),
    "no character": '{"name":"\uffff\ufffe"}'.encode(),
    "combining": ('{"name":"a' + "\u0301" * 500 + '"}').encode(),
    "Latin-1": '{"name":"Gebäude"}'.encode("latin-1"),
}


@row("H13", "Invalid UTF-8, lone surrogates, NUL, byte order marks and line separators, with reports")
def texts(stage):
    play = Played(stage, options=())
    bodies = dict(enumerate(TEXTS.values(), 1))
    play.backup(made_up(bodies))
    made, held = objects(play), play.instance.held()
    for (what, body), id in zip(TEXTS.items(), bodies):
        problems = [] if made.get(str(id)) == name_of(body) else [f"it is kept as {made.get(str(id))}"]
        stage.tally.add(f"{what}, in an object", problems + ([] if made.get(str(id)) in held else ["it is not held"]))
    stage.tally.add("the run and its reports", reported(play) + play.recovers())
    for what, body in stage.some(list(TEXTS.items()), 1):
        listed = b'{"buildings":[' + body.replace(b'{"name"', b'{"id":1,"name"') + b"]}"
        play.backup([Rule(LIST, status(200, listed))])
        is_json = canonical(listed) != listed
        problems = [] if is_json else play.warned("failed", "buildings", ".+")
        if is_json and play.newest():
            name = json.loads(listed)["buildings"][0]["name"]
            names = [item.get("name") for item in play.instance.index(play.newest(), "buildings")["items"]]
            problems = [] if names in ([name], []) else [f"the name is kept as {names!r}"]
        stage.tally.add(f"{what}, in a list", problems + reported(play) + play.recovers())


def reported(play):
    """Both reports are there and whole, whatever they had to draw."""
    problems = ended(play, 0, WARNINGS)
    reports = list((play.instance.backups_path / (play.newest() or "none")).glob("*.pdf"))
    problems += [] if len(reports) == 2 else [f"{len(reports)} reports"]
    for report in reports:
        data = report.read_bytes()
        if not data.startswith(b"%PDF") or b"%%EOF" not in data[-1024:]:
            problems.append(f"{report.name} is not whole")
    return problems


IDS = ["1", "a b", "ü", "a%2fb", "a%b", "a?b=1", "a#b", "a;b", "a&b", "a\\b", "x" * 10_000, "日本", "1'--", "<b>",
       "%00", "...", ".hidden", "-1", "item-0", "settings"]  # good for a path
NO_IDS = ["/", "..", ".", "a/b", "../../../etc/passwd", "a\nb", "a\r\nX-Injected: 1", "\x00", "/etc/passwd",
          "a/../b", "\x7f"]
NAMES = ["", "../../up", "/etc/passwd", "a\nb", "x" * 10_000, "\x1b[2J", "CON", "a/b", "..", "name.json",
         "\x00", "~", "$(id)"]


@row("H15", "IDs and names with slashes, dots, query marks, line ends, 10 kB, of nothing, and twice the same")
def identifiers(stage):
    sections = "buildings,categories,departments,scripts,blueprints,computers,accounts"
    play = Played(stage, sections=sections)
    outside = snapshot(stage.folder)
    for id in stage.some(IDS + NO_IDS, 2):
        play.backup(listed_with([id, "7"], ["odd", "even"]))
        stage.tally.add(f"the ID {id[:40]!r}", asked_well(play, [id]) + untouched(stage, outside) + play.recovers())
    play.backup(listed_with(IDS + NO_IDS, NAMES * 3))
    stage.tally.add("all IDs at once", asked_well(play, IDS + NO_IDS) + untouched(stage, outside) + play.recovers())
    play.backup(listed_with(["7", "7", "", "8"], ["twice", "twice", "of nothing", "once"]))
    stage.tally.add("an ID twice, and an empty one", asked_well(play, ["7", "8"]) + untouched(stage, outside) +
                    play.recovers())
    play.backup(listed_with([str(n) for n in range(1, len(NAMES) + 1)], NAMES))
    items = play.instance.index(play.newest(), "buildings")["items"] if play.newest() else []
    kept = [item.get("name") for item in items]
    stage.tally.add("odd names", [] if kept == NAMES else [f"names are kept as {kept!r}"[:300]])
    stage.tally.worst = "0 escapes" if stage.tally.survived == stage.tally.tried else "escapes, see the failures"


DETAILS = ["/JSSResource/buildings/id/", "/api/blueprints/", "/api/v1/computers-inventory-detail/"]


def listed_with(ids, names):
    """Rules for three kinds of lists with these IDs, each with objects that are read one by one."""
    pairs = list(zip(ids, names))
    elements = json.dumps([{"id": id, "name": name} for id, name in pairs]).encode()
    page = b'{"totalCount":%d,"results":%s}' % (len(pairs), elements)
    lists = {LIST: b'{"buildings":' + elements + b"}", "/api/blueprints": page, "/api/v1/computers-inventory": page}
    rules = [Rule(path, status(200, body)) for path, body in lists.items()]
    return rules + [Rule(f"{each}.*", lambda request: Reply(body=b'{"id":"x"}')) for each in DETAILS]


def asked_well(play, ids):
    """Each ID was asked for as one part of a path, or was not and is told as an error."""
    problems = ended(play, 0, WARNINGS)
    good = {id for id in ids if id in IDS or id.isdigit()}
    for start in DETAILS:
        for each in play.log(f"{start}.*"):
            part = each.target[len(start):]
            if not part or any(mark in part for mark in "/?#\\ ") or unquote(part) not in {*good, "7", "item-2"}:
                problems.append(f"asked for {each.target[:120]!r}")
        asked = {unquote(each.target[len(start):]) for each in play.log(f"{start}.*")}
        problems += [f"{id[:40]!r} was not asked for below {start}" for id in good - asked]
    known = tuple(DETAILS) + ("/api/", "/JSSResource/")
    problems += [f"asked for {each.target[:120]!r}" for each in play.log() if not each.target.startswith(known)]
    refused = set(ids) - good
    if refused and play.newest():
        told = {each["id"] for each in play.errors("buildings")}
        problems += [f"no error tells of {id[:40]!r}" for id in refused - told]
    return problems


def untouched(stage, before):
    """Nothing outside of the folder of backups changed."""
    return same_as(before, stage.folder, ["root", "fault-state"])
