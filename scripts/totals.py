#!/usr/bin/env python3
"""Sums the results of a test run: scripts/totals.py [--build FOLDER] PRESET...

CTest is asked which test programs FOLDER/<preset> has (FOLDER is build). Each of them has to be in
FOLDER/<preset>/ctest.xml as passed, and to have left FOLDER/<preset>/test-results/<name>.xml with
test cases, all of them run. What is otherwise gets a line on standard error; the totals are the last
line on standard output. The exit code is 0 only when every program and every case has passed.
"""

import argparse
import collections
import json
import pathlib
import subprocess
import sys
import xml.etree.ElementTree as ElementTree

BUILD = pathlib.Path(__file__).resolve().parent.parent / "build"


class UnreadableResult(Exception):
    """A result that is not there or that is no result; its text says why."""


def read_cases(path):
    """The <testcase> elements of a JUnit file, however deep they stand."""
    try:
        return list(ElementTree.parse(path).getroot().iter("testcase"))
    except FileNotFoundError:
        raise UnreadableResult(f"no {path.name}") from None
    except ElementTree.ParseError as error:
        raise UnreadableResult(f"{path.name} is no whole XML file: {error}") from None


def known_programs(folder):
    """The names of the test programs that CTest finds in a build folder."""
    if not folder.is_dir():
        raise UnreadableResult(f"no folder {folder}")
    answer = subprocess.run(
        ["ctest", "--test-dir", folder, "--show-only=json-v1"],
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        text=True,
        check=False,
    )
    try:
        names = [test["name"] for test in json.loads(answer.stdout)["tests"]]
    except (ValueError, KeyError):
        raise UnreadableResult(f"CTest lists no programs: {answer.stderr.strip()}") from None
    if not names:
        raise UnreadableResult("CTest knows no program")
    return names


def outcome(case):
    """What became of a <testcase>: "passed", "failed", "skipped" or "disabled".

    A skipped case has an element that says so. A disabled one has nothing but its status: CTest writes
    "disabled", GoogleTest "notrun".
    """
    if case.find("failure") is not None or case.find("error") is not None:
        return "failed"
    if case.find("skipped") is not None:
        return "skipped"
    if case.get("status", "run") != "run":
        return "disabled"
    return "passed"


def explanation(case):
    """What a <testcase> that did not pass gives as its reason, in brackets; empty if it gives none."""
    for kind in ("failure", "error", "skipped"):
        element = case.find(kind)
        if element is not None and element.get("message"):
            return f" ({' '.join(element.get('message').split())})"
    return ""


class Totals:
    """The sums over all presets, and a line for everything that did not pass."""

    def __init__(self):
        self.cases = collections.Counter()  # by outcome
        self.cases_by_preset = {}
        self.programs = 0
        self.failed_programs = 0
        self.troubles = []

    def add_preset(self, build, preset):
        self.cases_by_preset[preset] = 0
        try:
            names = known_programs(build / preset)
        except UnreadableResult as reason:
            self.programs += 1
            self._add_failed_program(preset, [str(reason)])
            return
        runs = {}
        try:
            runs = {case.get("name"): case for case in read_cases(build / preset / "ctest.xml")}
        except UnreadableResult as reason:
            self.troubles.append(f"{preset}: {reason}")
        for name in names:
            self._add_program(build / preset, preset, name, runs.get(name))

    def _add_program(self, folder, preset, name, run):
        self.programs += 1
        reasons = []
        if run is None:
            reasons.append("was not run")
        elif outcome(run) != "passed":
            reasons.append(outcome(run) + explanation(run))
        try:
            cases = read_cases(folder / "test-results" / f"{name}.xml")
            if not cases:
                reasons.append("has no test case")
        except UnreadableResult as reason:
            cases = []
            reasons.append(f"left no result: {reason}")
        if reasons:
            self._add_failed_program(f"{preset}: {name}", reasons)
        for case in cases:
            self._add_case(preset, name, case)

    def _add_failed_program(self, which, reasons):
        self.failed_programs += 1
        self.troubles.append(f"{which}: {', '.join(reasons)}")

    def _add_case(self, preset, name, case):
        self.cases_by_preset[preset] += 1
        self.cases[outcome(case)] += 1
        if outcome(case) != "passed":
            full_name = f"{case.get('classname')}.{case.get('name')}"
            self.troubles.append(
                f"{preset}: {name}: {full_name}: {outcome(case)}{explanation(case)}"
            )

    def line(self):
        presets = ", ".join(f"{name} {count}" for name, count in self.cases_by_preset.items())
        return (
            f"{self.cases.total()} tests ({presets}) in {self.programs} programs: "
            f"{self.cases['passed']} passed, {self.cases['failed']} failed, "
            f"{self.cases['skipped'] + self.cases['disabled']} skipped, "
            f"{self.failed_programs} programs failed"
        )


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("--build", type=pathlib.Path, default=BUILD, metavar="FOLDER")
    arguments.add_argument("presets", nargs="+", metavar="PRESET")
    options = arguments.parse_args()
    totals = Totals()
    for preset in options.presets:
        totals.add_preset(options.build, preset)
    for trouble in totals.troubles:
        print(trouble, file=sys.stderr)
    print(totals.line(), flush=True)
    return 1 if totals.troubles else 0


if __name__ == "__main__":
    sys.exit(main())
