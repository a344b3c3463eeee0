"""Group K, continued: playbooks on a server that refuses one of the writes."""

import http.client
import http.server
import json
import threading
from collections import Counter

from campaign import row
from fleet import Server
from invariants import told
from tending import calm

SECTIONS = "scripts,packages,computerExtensionAttributes,computerGroups,computerConfigurationProfiles,policies"


class WritableServer(Server):
    """A sample server that is meant to be written to."""

    def close(self):
        self.stop()
        return []


class Refusing:
    """Stands in front of a server and refuses the n-th of the requests that write, or ends its connection."""

    def __init__(self, port):
        self.port, self.refused, self.deed, self.writes = port, 0, 500, 0
        front = self

        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def pass_on(self):
                body = self.rfile.read(int(self.headers.get("Content-Length") or 0))
                if self.command != "GET" and "oauth" not in self.path and front.counts():
                    if front.deed == 0:
                        self.close_connection = True
                        return
                    return self.give(front.deed, [], b'{"httpStatus":500,"errors":[]}')
                behind = http.client.HTTPConnection("127.0.0.1", front.port, timeout=60)
                kept = ("Authorization", "Accept", "Content-Type")
                behind.request(self.command, self.path, body, {key: self.headers[key] for key in kept if key in self.headers})
                reply = behind.getresponse()
                self.give(reply.status, [("Content-Type", reply.headers.get("Content-Type", ""))], reply.read())
                behind.close()

            def give(self, status, headers, body):
                self.send_response(status)
                for key, value in [*headers, ("Content-Length", str(len(body)))]:
                    self.send_header(key, value)
                self.end_headers()
                self.wfile.write(body)

            do_GET = do_POST = do_PUT = do_DELETE = do_PATCH = pass_on

            def log_message(self, *_):
                pass

        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.server.daemon_threads = True
        self.url = f"http://127.0.0.1:{self.server.server_port}"
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def counts(self):
        """Counts a request that writes; whether it is the one to refuse."""
        self.writes += 1
        return self.writes == self.refused

    def refuse(self, number, deed=500):
        self.refused, self.deed, self.writes = number, deed, 0

    def close(self):
        self.server.shutdown()
        self.server.server_close()


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
    front = stage.keep(Refusing(target.port))
    stage.programs.run("orvik", "orgs", "add", "--name", "School", "--url", front.url, "--client-id", target.client,
                       "--secret-file", target.secret_file)
    _, outcomes = applied(stage, playbook)
    writes, resources = front.writes, len(outcomes)
    unchanged = stage.programs.run("orvik", "playbook", "plan", playbook, "--org", "School")
    stage.tally.add("a plan after an undisturbed apply", [] if unchanged.status == 0 and writes else [unchanged.text()])
    for n in stage.points(writes, 5, 60):
        for deed in (500, 409, 403, 0):
            if stage.quick and deed != (500, 409, 403, 0)[n % 4]:
                continue
            target.change_to(2)
            front.refuse(n, deed)
            end, outcomes = applied(stage, playbook)
            counts = Counter(outcomes)
            problems = calm(end, 60) + (told(end) if end.status == 0 else [])
            if len(outcomes) != resources:
                problems.append(f"{len(outcomes)} of {resources} resources were tried")
            if end.status != 1 or not counts["failed"]:
                problems.append(f"nothing failed: {counts}")
            if counts["failed"] > 1:
                problems.append(f"{counts['failed']} failed for one write")
            front.refuse(0)
            end, outcomes = applied(stage, playbook)
            problems += [] if end.status == 0 and "failed" not in outcomes else [f"the second time: {end.text()}"]
            # What was refused, or was done although its answer was lost.
            if sum(outcome in ("created", "updated") for outcome in outcomes) > 1:
                problems.append(f"the second time: {Counter(outcomes)}")
            end = stage.programs.run("orvik", "playbook", "plan", playbook, "--org", "School")
            problems += [] if end.status == 0 else [f"the plan is not empty: {end.text()}"]
            stage.tally.add(f"write {n} of {writes} gets {deed or 'no answer'}", problems)
    stage.tally.worst = f"{resources} resources, {writes} writes"
