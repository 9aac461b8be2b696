#!/usr/bin/env python3
"""Runs one module of end-to-end tests.

run.py --programs FOLDER --results FILE.xml MODULE [TEST...]

FOLDER holds the Windows programs. FILE.xml gets one entry a test case, as the unit tests' result
files have. TEST is a name as unittest takes it: Class or Class.test.
"""

import argparse
import importlib
import pathlib
import sys
import time
import unittest
import xml.etree.ElementTree as ElementTree

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))

from support import environment  # noqa: E402  (needs the path above)


class RecordingResult(unittest.TextTestResult):
    """Keeps every outcome with its time."""

    def __init__(self, *arguments, **options):
        super().__init__(*arguments, **options)
        self.cases = []  # [test, seconds, kind of trouble or None, text]
        self._started = 0.0

    def startTest(self, test):
        super().startTest(test)
        self._started = time.monotonic()

    def _record(self, test, kind=None, text=""):
        self.cases.append((test, time.monotonic() - self._started, kind, text))

    def addSuccess(self, test):
        super().addSuccess(test)
        self._record(test)

    def addFailure(self, test, err):
        super().addFailure(test, err)
        self._record(test, "failure", self.failures[-1][1])

    def addError(self, test, err):
        super().addError(test, err)
        self._record(test, "error", self.errors[-1][1])

    def addSkip(self, test, reason):
        super().addSkip(test, reason)
        self._record(test, "skipped", reason)

    def addSubTest(self, test, subtest, err):
        super().addSubTest(test, subtest, err)
        if err is not None:
            kind = "failure" if issubclass(err[0], test.failureException) else "error"
            self._record(subtest, kind, self._exc_info_to_string(err, test))


def write_results(path, name, cases):
    def count(wanted):
        return str(sum(1 for case in cases if case[2] == wanted))

    totals = {
        "name": name,
        "tests": str(len(cases)),
        "failures": count("failure"),
        "errors": count("error"),
        "skipped": count("skipped"),
        "time": f"{sum(case[1] for case in cases):.3f}",
    }
    root = ElementTree.Element("testsuites", totals)
    suite = ElementTree.SubElement(root, "testsuite", totals)
    for test, seconds, kind, text in cases:
        class_name, _, case_name = test.id().rpartition(".")
        case = ElementTree.SubElement(
            suite, "testcase", classname=class_name, name=case_name, time=f"{seconds:.3f}"
        )
        if kind is not None:
            ElementTree.SubElement(case, kind, message=text.strip().splitlines()[-1] if text else "")
            case[0].text = text
    path.parent.mkdir(parents=True, exist_ok=True)
    ElementTree.ElementTree(root).write(path, encoding="utf-8", xml_declaration=True)


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("--programs", type=pathlib.Path, required=True)
    arguments.add_argument("--results", type=pathlib.Path, required=True)
    arguments.add_argument("module")
    arguments.add_argument("tests", nargs="*")
    options = arguments.parse_args()

    environment.programs = options.programs.resolve()
    module = importlib.import_module(options.module)
    loader = unittest.TestLoader()
    if options.tests:
        suite = loader.loadTestsFromNames(options.tests, module)
    else:
        suite = loader.loadTestsFromModule(module)
    runner = unittest.TextTestRunner(verbosity=2, resultclass=RecordingResult, warnings="error")
    try:
        result = runner.run(suite)
    finally:
        environment.close()
    write_results(options.results, options.module, result.cases)
    return 0 if result.wasSuccessful() and result.testsRun > 0 else 1


if __name__ == "__main__":
    sys.exit(main())
