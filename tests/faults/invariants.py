"""What has to hold after every injected fault. Each function gives the problems that it finds, none when all is well."""

from pathlib import Path

from folders import snapshot

SECRET_WORDS = [line for line in
                (Path(__file__).resolve().parent.parent / "secrets.txt").read_text().splitlines() if line]


def kept(programs, instance, before):
    """Every backup that was listed before is listed, and each that is visible is whole."""
    visible = instance.backups()
    problems = [f"{each} is no longer listed" for each in before if each not in visible]
    for backup in visible:
        problems += whole(programs, instance, backup)
    return problems


def whole(programs, instance, backup, key=()):
    """A visible backup has all its indexes, and `verify` finds nothing."""
    problems = []
    for section in instance.declared(backup):
        if not (instance.backups_path / backup / "sections" / f"{section}.json").exists():
            problems.append(f"{backup} is visible without its index of {section}")
    end = programs.run("orvikctl", "verify", instance.path, backup, *key)
    if end.status != 0:
        problems.append(f"verify of {backup}: {end.text()}")
    return problems


def told(end):
    """One sentence says what failed, and the status says so too."""
    if end.hung:
        return ["it did not end"]
    if end.crashed:
        return [f"it crashed: {end.text()}"]
    if end.status <= 0:
        return [f"it claims success or tells nothing: {end.text()}"]
    lines = [line for line in end.err.splitlines() if line.startswith(("orvik: ", "orvikctl: "))]
    if len(lines) != 1:
        return [f"{len(lines)} sentences about the failure: {end.text()}"]
    return [] if len(lines[0]) > 20 else [f"the sentence says nothing: {lines[0]}"]


def within(end, seconds):
    return [] if not end.hung and end.seconds <= seconds else [f"it took {end.seconds:.1f} s"]


def no_secret(programs, *places):
    """No secret, token or signed URL in any file below the places or in what the programs said."""
    problems = list(programs.said)
    words = [word.encode() for word in SECRET_WORDS + programs.secrets]
    for place in places:
        for file in Path(place).rglob("*"):
            if file.is_file() and not file.is_symlink() and file.name != "client-secret":
                data = file.read_bytes()
                problems += [f"{file.name} holds a secret" for word in words if word in data]
    return problems


def same_as(before, path, ignoring=()):
    """Nothing below the path differs from a snapshot, but what begins with the given names."""
    after = snapshot(path)
    names = {name for name in before.keys() | after.keys() if before.get(name) != after.get(name)}
    return [f"{name} changed" for name in sorted(names) if not name.startswith(tuple(ignoring) or "\0")]


def no_leftovers(instance):
    return [f"{each} is left over" for each in instance.leftovers()]
