"""Plants what the checks of odd folders, keys and documents have to find."""

from campaign import Stage
from folders import Instance
from group_g_disks import twins
from group_g_paths import unprintable
from group_k_access import refused
from group_k_exports import Readers, same_for_a_disk
from group_k_secrets import WRONG, Search
from programs import End
from scene import Scene
from tending import SECTIONS, lasting, two_backups


def plants(stage):
    """Each planted fault with what its check says."""
    stage = stage.keep(Stage(stage.folder / "documents", stage.programs, 1, True, "self-test"))
    stage.folder.mkdir()
    scene = Scene(stage, SECTIONS)
    source = two_backups(scene, stage.folder / "two-backups")
    instance = scene.reset(source)
    next((instance.store / "objects").glob("*/*")).unlink()
    yield "an object that a backup lost for good", lasting(scene, instance, instance.backups(), Instance(source))

    for name, said in (("bytes that are no text", b"x\xff"), ("an escape", b"\x1b[31m"), ("a bell", b"\x07"),
                       ("a mark that turns the direction", "\u202e".encode())):
        yield f"{name}, printed", unprintable([said])
    folder = stage.fresh("twins")
    for name in ("Lab", "lab"):
        (folder / name).write_text("x")
    yield "two names that differ in case", twins(folder)[0]
    yield "two names that compose to one", ["one"] if same_for_a_disk("e\u0301") == same_for_a_disk("É") else []

    yield "a refusal after six seconds", refused(End(12, "", "orvik: The key is not there, it seems.", 6.0))
    yield "a refusal with another status", refused(End(1, "", "orvik: The key is not there, it seems.", 0.1))

    # The report is made and then torn.
    end = stage.programs.run("orvikctl", "report", scene.reset(source).path, "--out", stage.fresh("torn"))
    document = next((stage.folder / "torn").glob("*.pdf"))
    whole = document.read_bytes()
    yield "a report that is whole", [] if end.status or Readers().problems(document)[0] else ["it is read"]
    for name, data in (("cut", whole[:len(whole) // 2]), ("without its pages", whole.replace(b"/Page", b"/Wage"))):
        document.write_bytes(data)
        yield f"a report that is {name}", Readers().problems(document)[0]

    yield from secrets(stage)


def secrets(stage):
    """Secrets in what is said, in files, in documents, and in the arguments of children."""
    stage.programs.secrets.append(WRONG)
    search = Search(stage, {"secrets", "client-secret"})
    yield "a secret that is said", search.found(End(0, f"x{WRONG}y", "", 0))
    path = stage.folder / "planted"
    path.write_text("Bearer sample-token-1")
    yield "a token in a file", search.in_files()
    path.unlink()
    if search.prefix:
        command = ["--secret-command", "/bin/true Signature=abc"]
        _, problems = search.run("doctor", "--url", "http://127.0.0.1:9", "--client-id", "1", *command)
        yield "a signed address among the arguments of a child", [each for each in problems if "argument" in each]
    stage.programs.secrets.remove(WRONG)
    stage.programs.said.clear()
