"""Group K: the parsers of bytes that come from outside, with bytes that nobody thought of."""

import os
import re
import subprocess
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from campaign import NotRun, row

SOURCE = Path(__file__).resolve().parent.parent.parent
FUZZERS = SOURCE / "build" / "fuzz" / "bin"
# The programs with tests that give each corpus to its parser.
REPLAYING = ("PlatformTests", "OrvikCoreTests", "JamfCoreTests", "orvikTests")


def fuzzed(stage, program, seconds):
    """How many inputs a target took, and what is wrong."""
    name = program.name.removesuffix("Fuzz")
    found = stage.fresh(name)
    end = subprocess.run([program, f"-max_total_time={seconds}", "-print_final_stats=1", "-timeout=10",
                          f"-seed={stage.seed}", f"-artifact_prefix={found}/crash-", found,
                          SOURCE / "fuzz" / "corpus" / name], capture_output=True, text=True, errors="replace",
                         cwd=found, timeout=seconds + 300)
    count = re.search(r"stat::number_of_executed_units:\s*(\d+)", end.stderr)
    problems = [] if end.returncode == 0 else [f"status {end.returncode}: {end.stderr[-300:].strip()}"]
    if not count or int(count[1]) < 1000:
        problems.append("it took hardly any input")
    return name, int(count[1]) if count else 0, problems


def replayed(stage, program, seconds):
    """How many inputs each corpus of a test program made, and what is wrong."""
    environment = stage.programs.environment({"ORVIK_FUZZ_SECONDS": str(seconds), "ORVIK_FUZZ_SEED": str(stage.seed)})
    end = subprocess.run([program, "--gtest_filter=FuzzCorpus.*"], capture_output=True, text=True, errors="replace",
                         env=environment, timeout=600)
    counts = re.findall(r"^(\w+): (\d+) inputs$", end.stdout, re.MULTILINE)
    return counts, [] if end.returncode == 0 else [f"status {end.returncode}: {end.stdout[-400:].strip()}"]


@row("K9", "Mutated JSON, records, journals, envelopes, property lists, XML, HTTP heads, calls and playbooks")
def parsers(stage):
    if stage.quick:
        replay_corpora(stage)
    else:
        fuzz(stage)


def replay_corpora(stage):
    programs = [stage.programs.folder / name for name in REPLAYING]
    missing = [each.name for each in programs if not os.access(each, os.X_OK)]
    if missing:
        raise NotRun(f"not built: {', '.join(missing)}")
    corpora = [each.name for each in (SOURCE / "fuzz" / "corpus").iterdir()]
    inputs, seen = 0, set()
    for program in programs:
        counts, problems = replayed(stage, program, 20 / len(corpora))
        for name, count in counts:
            seen.add(name)
            inputs += int(count)
            stage.tally.add(name, [])
        if problems:
            stage.tally.add(program.name, problems)
    for name in sorted(set(corpora) - seen):
        stage.tally.add(name, ["nothing replays it"])
    stage.tally.worst = f"{inputs} inputs"
    stage.tally.note = "changed at random, without coverage"


def fuzz(stage):
    programs = sorted(FUZZERS.glob("*Fuzz"))
    if not programs:
        raise NotRun("the fuzz targets are not built: scripts/setup --fuzz, then the preset fuzz")
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        ends = list(pool.map(lambda program: fuzzed(stage, program, 600), programs))
    for name, _, problems in ends:
        stage.tally.add(name, problems)
    fewest = min(ends, key=lambda each: each[1])
    stage.tally.worst = f"{sum(each[1] for each in ends)} inputs in 10 minutes each, no crash" if not any(
        each[2] for each in ends) else "it crashed"
    stage.tally.note = f"fewest {fewest[0]} with {fewest[1]}"
