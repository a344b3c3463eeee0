"""Group K: documents and keys that others made."""

import resource

from campaign import row
from damage import calm
from injection import MemoryWatch
from invariants import told

HEAD = "name: P\nresources:\n"
TOO_LARGE = "more than there may be"
SCRIPT = "  - type: script\n    name: {0}\n    scriptContents: echo\n"


def aliases(levels):
    """Each line repeats the one above nine times."""
    lines = ["name: P", "a0: &a0 [" + ", ".join(["lol"] * 9) + "]"]
    lines += [f"a{n}: &a{n} [" + ", ".join([f"*a{n - 1}"] * 9) + "]" for n in range(1, levels)]
    return "\n".join(lines) + "\nresources: *a%d\n" % (levels - 1)


def documents(quick):
    """What is given, what may come of it (True: taken, False: refused, None: either), and the seconds of work it may cost."""
    million = 10_000 if quick else 1_000_000
    yield "a good one", HEAD + SCRIPT.format("A"), True, 1
    yield "nothing", "", False, 1
    yield "a remark", "# nothing\n", False, 1
    yield "only a byte order mark", "\ufeff", False, 1
    yield "a list", "- a\n- b\n", False, 1
    yield "a text", "hello\n", False, 1
    yield "a number", "12\n", False, 1
    yield "null", "~\n", False, 1
    for levels in (3, 10, 100):
        yield f"an alias bomb of {levels} levels", aliases(levels), False, 1
    yield "an alias of itself", "name: P\nresources: &a [*a]\n", False, 1
    yield "an alias of nothing", "name: *nobody\nresources: []\n", False, 1
    yield "an anchor used twice", "name: &n P\ndescription: *n\nresources: []\n", None, 1
    yield "a merge key of itself", "name: P\nx: &x\n  <<: *x\nresources: []\n", False, 1
    for depth in (100, 600, 10_000, million):
        yield f"{depth} lists in each other", HEAD.rstrip() + " " + "[" * depth + "]" * depth, False, 1
        yield f"{depth} open lists", HEAD.rstrip() + " " + "[" * depth, False, 1
        yield f"{depth} maps in each other", "name: P\nresources: " + "{a: " * depth + "1" + "}" * depth, False, 1
        yield f"{depth} dashes", HEAD + "- " * depth + "a", False, 1
    yield "a key twice", "name: P\nname: Q\nresources: []\n", False, 1
    yield "a key of a resource twice", HEAD + SCRIPT.format("A") + "    name: B\n", False, 1
    yield "resources twice", HEAD + SCRIPT.format("A") + "resources: []\n", False, 1
    for tag in ("!!python/object/apply:os.system", "!!binary", "!ruby/object:Gem", "!<tag:yaml.org,2002:str>", "!", "!!set"):
        yield f"the tag {tag}", f"name: {tag} P\nresources: []\n", None, 1
        yield f"the tag {tag} at a list", f"name: P\nresources: {tag} [touch /tmp/x]\n", False, 1
    yield "Latin-1", b"name: caf\xe9\nresources: []\n", False, 1
    yield "a cut character", b"name: \xc3", False, 1
    yield "a surrogate", b"name: \xed\xa0\x80\nresources: []\n", False, 1
    yield "UTF-16", "\ufeffname: P\nresources: []\n".encode("utf-16-le"), None, 1
    yield "UTF-16, cut", "\ufeffname: P\nresources: []\n".encode("utf-16-le")[:-1], False, 1
    yield "UTF-32", "name: P\nresources: []\n".encode("utf-32"), False, 1
    yield "a NUL", b"name: a\x00b\nresources: []\n", False, 1
    yield "control characters", b"name: a\x07\x1b[31mb\nresources: []\n", False, 1
    yield "zeros", bytes(1000), False, 1
    yield "a tab for blanks", "name: P\nresources:\n\t- a\n", False, 1
    yield "an open quote", 'name: "P\nresources: []\n', False, 1
    yield "two documents", HEAD + SCRIPT.format("A") + "---\nname: Q\nresources: []\n", False, 1
    yield "a directive of a later version", "%YAML 9.9\n---\nname: P\nresources: []\n", None, 1
    yield "a directive twice", "%YAML 1.1\n%YAML 1.1\n---\nname: P\nresources: []\n", False, 1
    yield "an escape of no character", 'name: "\\uD800"\nresources: []\n', False, 1
    yield "a name of a map", "name: {a: b}\nresources: []\n", False, 1
    yield "a name of 2^64", "name: 18446744073709551616\nresources: []\n", None, 1
    yield "resources that are a text", "name: P\nresources: all\n", False, 1
    yield "a resource that is null", HEAD + "  - ~\n", False, 1
    yield "a resource of no type", HEAD + "  - name: A\n", False, 1
    yield "an unknown type", HEAD + "  - type: rocket\n    name: A\n", False, 1
    yield "a key of a list", "name: P\n? [a, b]\n: c\nresources: []\n", None, 1
    yield "a key of a million letters", "name: P\n" + "k" * 1_000_000 + ": v\nresources: []\n", None, 1
    yield "10,000 scripts", HEAD + "".join(SCRIPT.format(f"S{n}") for n in range(10_000)), True, 2
    size = 10 if quick else 100
    yield f"{size} MB of one text", "name: P\ndescription: " + "x" * size * 1_000_000 + "\nresources: []\n", True, 10
    yield f"{size} MB of brackets", "name: P\nresources: " + "[" * size * 1_000_000, False, 10
    yield f"{size} MB of blanks", " " * size * 1_000_000, False, 10
    yield TOO_LARGE, b"#" * (130 << 20), False, 5


@row("K4", "Playbooks: alias bombs, depth, 100 MB, keys twice, odd tags, other encodings")
def playbooks(stage):
    slowest, peak = 0.0, 0.0
    path = stage.folder / "playbook.yaml"
    for name, text, taken, seconds in documents(stage.quick):
        path.write_bytes(text if isinstance(text, bytes) else text.encode())
        end, used, memory = measured(stage, "playbook", "check", path)
        slowest, peak = max(slowest, used), max(peak, memory)
        problems = calm(end, 60)
        if used > seconds:
            problems.append(f"{used:.1f} s of work")
        if taken is True and end.status != 0:
            problems.append(f"it is refused: {end.text()}")
        if taken is False and end.status == 0:
            problems.append("it is taken")
        if end.status != 0:
            problems += told(end) + ([] if end.status == (1 if name == TOO_LARGE else 2) else [end.text()])
        stage.tally.add(name, problems)
    stage.tally.worst = f"{slowest:.1f} s of work, {peak:.0f} MB"


def measured(stage, *words):
    """How a command ended, the seconds of work that it took, and the most memory in MB."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    running = stage.programs.start("orvik", *words)
    watch = MemoryWatch(running.pid)
    end = running.wait(60)
    watch.close()
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return end, after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime, watch.peak
