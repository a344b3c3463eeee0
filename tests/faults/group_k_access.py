"""Group K, continued: a key, a token or the keeper of secrets is not at hand, and nobody is there to be asked."""

import os
import shutil
import signal

from campaign import row
from folders import snapshot
from group_a import organisation_key
from group_k_keys import openssl
from invariants import same_as, told, whole, within
from keychains import Bus, SilentBus, Token
from scene import Scene

PROMPT = 5  # seconds; who waits for an answer waits longer


def refused(end):
    """It is told at once, with the status for keys and credentials."""
    problems = within(end, PROMPT) + told(end)
    return problems if end.status == 12 else problems + [f"another status: {end.text()}"]


def commands(scene, folder, out):
    """What needs the key of a sealed folder."""
    return {"backup": scene.arguments(), "gc": ["gc", folder, "--yes"], "pack": ["pack", folder],
            "retention": ["retention", folder, "--keep", "1", "--yes"], "repair": ["repair", folder, "--yes"],
            "show": ["show", folder, "scripts"], "search": ["search", folder, "a"],
            "export": ["export", folder, "scripts", "--out", out], "stats": ["stats", folder]}


def wrong_keys(folder, good):
    """Options and variables with which no key opens the folder."""
    (folder / "other").mkdir()
    other = organisation_key(folder / "other")
    damaged, locked = folder / "damaged.pem", folder / "locked.pem"
    damaged.write_bytes(good.read_bytes()[:120])
    locked.write_bytes(openssl("pkcs8", "-topk8", "-in", good, "-v2", "aes-256-cbc", "-passout", "pass:something"))
    for each in (damaged, locked):
        each.chmod(0o600)
    yield "no key", []
    yield "another key", ["--key", other]
    yield "no such file", ["--key", folder / "missing.pem"]
    yield "a damaged key", ["--key", damaged]
    yield "a key behind a passphrase", ["--key", locked]
    yield "a folder for a key", ["--key", folder]


def sealed_folder(scene, key):
    scene.succeed(scene.backup(scene.empty("sealed"), "--encrypt", "--key", key), "a sealed backup")
    return scene.stage.folder / "sealed"


@row("K2", "Wrong and missing keys, tokens that go or get a wrong PIN, keepers of secrets that are locked, silent or absent")
def keys_out_of_reach(stage):
    scene = Scene(stage)
    good = organisation_key(stage.folder)
    source = sealed_folder(scene, good)
    instance = scene.reset(source)
    slowest = 0.0
    before = snapshot(instance.path)
    for state, options in wrong_keys(stage.folder, good):
        chosen = list(commands(scene, instance.path, stage.folder / "out").items())
        for name, words in stage.random.sample(chosen, 3) if stage.quick else chosen:
            end = stage.programs.run("orvik", *words, *options, timeout=30)
            slowest = max(slowest, end.seconds)
            stage.tally.add(f"{name} with {state}", refused(end) + same_as(before, instance.path))
    slowest = max(slowest, tokens(stage, scene, source, good), keepers(stage, scene))
    stage.tally.worst = f"named after {slowest:.1f} s at most"


def tokens(stage, scene, source, good):
    token = Token(stage.fresh("token"), good, stage.folder / "certificate.pem")
    instance = scene.reset(source)
    world = stage.folder / "pin"
    world.write_text(token.pin)
    world.chmod(0o644)
    before, slowest = snapshot(instance.path), 0.0
    for name, environment in (("a wrong PIN", token.environment("000000")), ("no PIN", token.environment()),
                              ("an empty PIN", token.environment(ORVIK_PKCS11_PIN="")),
                              ("a PIN that others can read", token.environment(ORVIK_PKCS11_PIN_SOURCE=str(world)))):
        for command in ("backup", "show"):
            words = commands(scene, instance.path, stage.folder / "out")[command]
            end = stage.programs.run("orvik", *words, environment=environment, timeout=30)
            slowest = max(slowest, end.seconds)
            stage.tally.add(f"{command} with {name}", refused(end) + same_as(before, instance.path))
    right = token.environment(token.pin)
    end = stage.programs.run("orvik", *scene.arguments(), environment=right)
    stage.tally.add("the right PIN afterwards", [] if end.status == 0 else [end.text()])
    gone = stage.folder / "token" / "gone"
    for n in stage.points(scene.calls("all"), 4, 40):
        scene.reset(source)
        fault = stage.fault("all", [scene.root], "stop", at=n)
        running = stage.programs.start("orvik", *scene.arguments(), fault=fault, environment=right)
        if running.await_stop():
            os.rename(token.tokens, gone)
            running.send(signal.SIGCONT)
        end = running.wait(60)
        fault.close()
        if gone.exists():
            os.rename(gone, token.tokens)
        problems = within(end, 30) + (told(end) if end.status != 0 else [])
        after = scene.backup(None, "--key", good)
        problems += [] if after.status == 0 else [f"the next run: {after.text()}"]
        for backup in instance.backups():
            problems += whole(stage.programs, instance, backup, ["--key", good])
        stage.tally.add(f"the token is removed at call {n}", problems)
    shutil.rmtree(token.tokens)
    scene.reset(source)
    end = stage.programs.run("orvik", *scene.arguments(), environment=right, timeout=30)
    stage.tally.add("the token is gone", refused(end) + same_as(before, instance.path))
    return max(slowest, end.seconds)


def keepers(stage, scene):
    """Where client secrets are kept."""
    place, slowest = stage.fresh("buses"), 0.0
    add = ["instances", "add", "--name", "School", *scene.server.options()[:6]]
    cases = {"no bus": lambda: None, "a silent bus": lambda: SilentBus(place / "silent", False),
             "a bus that ends": lambda: SilentBus(place / "ending", True), "a bus without a keeper": lambda: Bus(place / "bare", False),
             "a locked keyring": lambda: Bus(place / "locked", True)}
    for name, make in cases.items():
        bus = make()
        environment = {"DBUS_SESSION_BUS_ADDRESS": bus.address if bus else f"unix:path={place}/nobody",
                       "XDG_DATA_HOME": str(stage.fresh("data"))}
        if bus:
            stage.keep(bus)
        for words in (add, ["instances", "list"], ["instances", "test", "School"],
                      ["instances", "remove", "School", "--yes"]):
            end = stage.programs.run("orvik", *words, environment=environment, timeout=60)
            slowest = max(slowest, end.seconds)
            stage.tally.add(f"{' '.join(words[:2])} with {name}", within(end, PROMPT) + (told(end) if end.status != 0 else []))
    return slowest
