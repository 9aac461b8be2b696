#!/usr/bin/env python3
"""Prints which share of the lines and branches of src/ the tests run, by room:
scripts/coverage.py [--build FOLDER] [--lines] [--branches] [--strict]

FOLDER is a build tree with the target counted_tests built (build/native). The programs of that target are
the tests of the library with all of src counting what runs; they are run, but for some long tests. Lines that
did not run are held against tests/uncovered_lines.tsv, which explains those that may. --lines shows each line
that did not run, --branches each that did with a branch that did not. Needs gcovr and the gcov of the build.

A line of a room that is held to it, which has neither run nor an explanation, and an explanation that has
become stale are told; with --strict the exit code is then 1. It is always where a program fails.
"""

import argparse
import collections
import concurrent.futures
import dataclasses
import json
import os
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
EXPLANATIONS = ROOT / "tests" / "uncovered_lines.tsv"
# Every line of these runs or is explained. What others lack --lines shows.
HELD = frozenset("diag filters ota capture reader describe convert".split())
# Repeat the same few lines thousands of times; what they run, others run as well.
LONG_TESTS = (
    "CaptureDamageTest.AnyChanged*",
    "CaptureFileTest.AFirstBlockThatIsPartlyWrittenHoldsNoItems",
    "DisplacedRecordsTest.AByteOfADirectoryCostsTwoItemsAtMost",
    "PassingOverTest.ABitFlipInAnEntryHidesNoOtherItem",
    "RecoverySweepTest.*",
    "SessionSchedulesTest.*",
    "VerificationTest.AgreesWith*",
)
# A program that takes longer hangs.
LONGEST_RUN = 300


@dataclasses.dataclass
class Share:
    """How many of some lines and of their branches have run."""

    lines: int = 0
    lines_run: int = 0
    branches: int = 0
    branches_run: int = 0

    def add(self, line):
        self.lines += 1
        self.lines_run += line.count > 0
        self.branches += len(line.branches)
        self.branches_run += sum(count > 0 for count in line.branches)


@dataclasses.dataclass(frozen=True)
class Line:
    """A line of src that has code, with how often it and each of its branches have run."""

    file: str  # from src/ on
    number: int
    count: int
    branches: tuple
    text: str
    above: str  # the line above, without which `return false;` would be many

    @property
    def room(self):
        return self.file.split("/")[1]

    def __str__(self):
        return f"{self.file}:{self.number}: {self.text}"


class Failed(Exception):
    """What keeps the figures from being made."""


def counts_folder(build):
    """Where the programs leave their counts."""
    return build / "tests" / "CMakeFiles" / "corvane_counted.dir"


def run_programs(build):
    """Runs what counts, from counts of 0 on."""
    programs = sorted((build / "bin").glob("*_counted"))
    if not programs:
        raise Failed(f"{build} has no programs that count: build the target counted_tests")
    (build / "counted").mkdir(exist_ok=True)
    for counts in counts_folder(build).rglob("*.gcda"):
        counts.unlink()

    def run(program):
        """-> what went wrong; empty when nothing did"""
        log = build / "counted" / f"{program.name}.log"
        command = [program, f"--gtest_filter=-{':'.join(LONG_TESTS)}"]
        with log.open("wb") as output:
            try:
                code = subprocess.run(
                    command, cwd=build, stdout=output, stderr=output, timeout=LONGEST_RUN, check=False
                ).returncode
            except subprocess.TimeoutExpired:
                return f"{program}: runs for more than {LONGEST_RUN} s, log in {log}"
        return f"{program}: exit code {code}, log in {log}" if code else ""

    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        wrong = [problem for problem in pool.map(run, programs) if problem]
    if wrong:
        raise Failed("\n".join(wrong))


def count(build):
    """What gcovr makes of the counts in a build tree: its JSON document."""
    # A branch that nothing but an exception takes is no decision of the code's.
    # A count that two threads tear may become negative, which gcovr calls an error: it is left out. With several
    # threads of its own gcovr 5.2 would wait for ever behind one.
    command = ["gcovr", "--root", ROOT, "--filter", f"{ROOT}/src/"]
    command += ["--exclude-throw-branches", "--exclude-unreachable-branches", "--json", "-"]
    command += ["--gcov-ignore-parse-errors"]
    run = subprocess.run([*command, counts_folder(build)], stdout=subprocess.PIPE, check=False)
    if run.returncode != 0:
        raise Failed(f"gcovr: exit code {run.returncode}")
    return json.loads(run.stdout)


def lines_of(document, root=ROOT):
    """Every Line of a document of gcovr's."""
    for file in document["files"]:
        texts = ["", *(root / file["file"]).read_text(encoding="utf-8").splitlines()]
        for line in file["lines"]:
            if not line["gcovr/noncode"]:
                number = line["line_number"]
                branches = tuple(branch["count"] for branch in line["branches"])
                text, above = texts[number].strip(), texts[number - 1].strip()
                yield Line(file["file"], number, line["count"], branches, text, above)


def percent(part, whole):
    """Rounded down, so that only all is 100."""
    return f"{part * 1000 // whole / 10:.1f} %" if whole else "-"


def table(lines):
    """The shares by room, as lines of text."""
    shares = collections.defaultdict(Share)
    total = Share()
    for line in lines:
        shares[line.room].add(line)
        total.add(line)
    yield f"{'room':<10}{'lines':>8}{'run':>10}{'branches':>10}{'run':>10}"
    for room, share in [*sorted(shares.items()), ("all", total)]:
        yield (
            f"{room:<10}{share.lines:>8}{percent(share.lines_run, share.lines):>10}"
            f"{share.branches:>10}{percent(share.branches_run, share.branches):>10}"
        )


def explained(text):
    """{(file, line above, line): why} of a table of explanations, which leads with the names of columns."""
    explanations = {}
    for row in text.splitlines()[1:]:
        file, above, line, why = row.split("\t")
        explanations[file, above, line] = why
    return explanations


def judge(lines, explanations):
    """-> lines that neither run nor are explained, and explanations of lines that do run or are gone"""
    missed = [line for line in lines if line.count == 0]
    unexplained = [line for line in missed if (line.file, line.above, line.text) not in explanations]
    return unexplained, set(explanations) - {(line.file, line.above, line.text) for line in missed}


def tell(lines, explanations):
    """Prints what is wrong, and returns whether something is."""
    unexplained, stale = judge(lines, explanations)
    wrong = [f"Not run and not explained: {line}" for line in unexplained if line.room in HELD]
    for file, _, text in sorted(stale):
        wrong.append(f"{EXPLANATIONS.name}: no longer needed: {file}: {text}")
    for line in wrong:
        print(line, file=sys.stderr)
    return bool(wrong)


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("--build", type=pathlib.Path, default=ROOT / "build" / "native")
    arguments.add_argument("--lines", action="store_true", help="show the lines that did not run")
    arguments.add_argument("--branches", action="store_true", help="show lines with such branches")
    arguments.add_argument("--strict", action="store_true", help="fail where something is told")
    options = arguments.parse_args()
    build = options.build.resolve()
    try:
        run_programs(build)
        lines = list(lines_of(count(build)))
    except Failed as reason:
        print(reason, file=sys.stderr)
        return 1
    print("\n".join(table(lines)), flush=True)
    for line in lines:
        if options.lines and line.count == 0:
            print(line)
        if options.branches and line.count != 0 and 0 in line.branches:
            print(line, list(line.branches))
    is_wrong = tell(lines, explained(EXPLANATIONS.read_text(encoding="utf-8")))
    return 1 if is_wrong and options.strict else 0


if __name__ == "__main__":
    sys.exit(main())
