"""Group K, continued: playbooks on a server that refuses one of the writes."""

import json
from collections import Counter

from campaign import row
from damage import calm
from fleet import Server
from proxy import TOKEN_PATH, Front, Rule, drop, status

SECTIONS = "scripts,packages,computerExtensionAttributes,computerGroups,computerConfigurationProfiles,policies"


class WritableServer(Server):
    """A sample server that is meant to be written to."""

    def close(self):
        self.stop()
        return []


class NthWrite(Rule):
    """Refuses the n-th of the requests that write, with a status or, for 0, with the end of the connection."""

    def __init__(self, number, code):
        super().__init__(".*", drop if code == 0 else status(code, b'{"httpStatus":500,"errors":[]}'), {number})

    def applies(self, request):
        if request.method == "GET" or request.path == TOKEN_PATH:
            return False
        self.matches += 1
        return self.matches in self.at


def applied(stage, playbook):
    """How applying ended, and the outcome of each resource."""
    end = stage.programs.run("orvik", "playbook", "apply", playbook, "--org", "School", "--yes", "--json")
    return end, [json.loads(line)["outcome"] for line in end.out.splitlines() if '"event":"applied"' in line]


@row("K5", "Playbooks: a write is refused in the middle, the server fills defaults in, and a second time nothing is to be done")
def refused_writes(stage):
    source = stage.keep(Server(stage.programs, seed=1))
    root, playbook = stage.folder / "root", stage.folder / "all.yaml"
    for words in (["backup", "--to", root, *source.options(), "--only", SECTIONS, "--no-reports", "--no-files", "--quiet"],
                  ["playbook", "from-backup", root / "127.0.0.1", "--out", playbook, "--quiet"]):
        end = stage.programs.run("orvik", *words)
        if end.status != 0:
            raise RuntimeError(f"{words[0]}: {end.text()}")
    target = stage.keep(WritableServer(stage.programs, seed=2))
    front = stage.keep(Front(target))
    stage.programs.run("orvik", "orgs", "add", "--name", "School", "--url", front.url, "--client-id", target.client,
                       "--secret-file", target.secret_file)
    _, outcomes = applied(stage, playbook)
    writes, resources = len(front.writing), len(outcomes)
    unchanged = stage.programs.run("orvik", "playbook", "plan", playbook, "--org", "School")
    stage.tally.add("a plan after an undisturbed apply", [] if unchanged.status == 0 and writes else [unchanged.text()])
    for n in stage.points(writes, 3, 30):
        for deed in (500, 409, 403, 0):
            if stage.quick and deed != (500, 409, 403, 0)[n % 4]:
                continue
            target.change_to(2)
            front.forget([NthWrite(n, deed)])
            end, outcomes = applied(stage, playbook)
            counts = Counter(outcomes)
            problems = calm(end, 60)
            if len(outcomes) != resources:
                problems.append(f"{len(outcomes)} of {resources} resources were tried")
            if end.status != 1 or not counts["failed"]:
                problems.append(f"nothing failed: {counts}")
            if counts["failed"] > 1:
                problems.append(f"{counts['failed']} failed for one write")
            front.forget()
            end, outcomes = applied(stage, playbook)
            problems += [] if end.status == 0 and "failed" not in outcomes else [f"the second time: {end.text()}"]
            # What was refused, or was done although its answer was lost.
            if sum(outcome in ("created", "updated") for outcome in outcomes) > 1:
                problems.append(f"the second time: {Counter(outcomes)}")
            end = stage.programs.run("orvik", "playbook", "plan", playbook, "--org", "School")
            problems += [] if end.status == 0 else [f"the plan is not empty: {end.text()}"]
            stage.tally.add(f"write {n} of {writes} gets {deed or 'no answer'}", problems)
    stage.tally.worst = f"{resources} resources, {writes} writes"
