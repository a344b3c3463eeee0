"""A scene whose server answers by rules: one try after another on the same folder."""

import re

from fleet import SECTIONS, FrontedServer
from folders import Instance
from invariants import told, whole
from programs import WARNINGS
from scene import Scene


class Played:
    """`scene` with a server in front that a row scripts. `end` and `instance` are those of the last try."""

    def __init__(self, stage, sections=SECTIONS, options=("--no-reports",), fleet="small", server=None):
        self.stage = stage
        self.server = server or stage.keep(FrontedServer(stage.programs, fleet=fleet))
        self.front = self.server.front
        self.scene = Scene(stage, sections, options, server=self.server)
        self.instance = Instance(self.scene.root)
        self.end = None

    def backup(self, rules, *more, **options):
        """A backup of the objects of seed 2 into a folder that has those of seed 1, by these rules."""
        self.instance = self.scene.reset()
        return self.again(rules, *more, **options)

    def again(self, rules, *more, **options):
        """The same without a fresh folder. The log is that of this run."""
        self.front.forget()
        self.front.rules = list(rules)
        self.end = self.scene.backup(None, *more, **options)
        with self.front.lock:
            self.front.rules = []
        return self.end

    def newest(self):
        """The backup that the run made; nothing when it made none."""
        made = [each for each in self.instance.backups() if each not in self.scene.before]
        return made[-1] if made else None

    def sections(self):
        """What the run says of each section that it was to read."""
        made = self.newest()
        if made is None:
            return {}
        return {each["id"]: each for each in self.instance.manifest(made)["sections"] if each["status"] != "disabled"}

    def errors(self, section):
        return self.instance.index(self.newest(), section)["errors"]

    def log(self, *arguments):
        return self.front.seen(*arguments)

    # Problems.

    def went_well(self):
        """It made a backup that equals the clean one."""
        if self.end.status != 0:
            return [f"it did not go well: {self.end.text()}"]
        same = self.instance.content(self.newest()) == self.scene.reference
        return [] if same else ["the backup differs from a clean one"]

    def warned(self, status, section, message=".*"):
        """A whole backup was made whose one section has this status and message, and the exit status says so."""
        problems = [] if self.end.status == WARNINGS else [f"it did not warn: {self.end.text()}"]
        about = self.sections().get(section)
        if about is None:
            return problems + [f"nothing is said of {section}"]
        if about["status"] != status or not re.fullmatch(message, about.get("message", ""), re.DOTALL):
            problems.append(f"{section} is {about['status']}: {about.get('message')!r}")
        others = [each for each, more in self.sections().items() if each != section and more["status"] != "complete"]
        return problems + [f"{each} is not complete either" for each in others]

    def refused(self, message=".*"):
        """It failed with one sentence that holds the message, and no new backup can be seen."""
        problems = told(self.end)
        if not re.search(message, self.end.sentence, re.DOTALL):
            problems.append(f"it says {self.end.sentence!r}")
        return problems + (["a backup was published"] if self.newest() else [])

    def recovers(self):
        """What it made is whole, and once the server behaves the next run's backup equals a clean one."""
        problems = self.checked(self.newest())
        end = self.again([])
        if end.status == WARNINGS:  # what an interrupted run could not read stays a warning of what it becomes
            end = self.again([])
        if end.status != 0:
            return problems + [f"the next run fails: {end.text()}"]
        newest = self.instance.backups()[-1]
        if self.instance.content(newest) != self.scene.reference:
            problems.append(f"the next run's {newest} differs from a clean backup")
        return problems + self.checked(newest) + self.scene.swept(self.instance) + self.scene.lost(self.instance)

    def checked(self, backup):
        return whole(self.stage.programs, self.instance, backup) if backup else []
