#!/usr/bin/env python3
"""Runs one module of Python tests and writes its results as a JUnit file.

recorded_run.py --results FILE.xml MODULE.py [TEST...]

FILE.xml gets one entry a test case, as the unit tests' result files have. TEST is a name as unittest
takes it: Class or Class.test.
"""

import argparse
import importlib
import pathlib
import sys
import time
import traceback
import unittest
import xml.etree.ElementTree as ElementTree


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

    def addExpectedFailure(self, test, err):
        super().addExpectedFailure(test, err)
        reason = traceback.format_exception_only(err[0], err[1])[-1].strip()
        self._record(test, "skipped", f"expected failure: {reason}")

    def addUnexpectedSuccess(self, test):
        super().addUnexpectedSuccess(test)
        self._record(test, "failure", "unexpected success: the test is marked as one that fails")

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


def run(module, tests, results):
    """Runs the named tests of an imported module, or all, and writes `results`. -> the exit code"""
    loader = unittest.TestLoader()
    if tests:
        suite = loader.loadTestsFromNames(tests, module)
    else:
        suite = loader.loadTestsFromModule(module)
    runner = unittest.TextTestRunner(verbosity=2, resultclass=RecordingResult, warnings="error")
    result = runner.run(suite)
    write_results(results, module.__name__, result.cases)
    return 0 if result.wasSuccessful() and result.testsRun > 0 else 1


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("--results", type=pathlib.Path, required=True)
    arguments.add_argument("module", type=pathlib.Path)
    arguments.add_argument("tests", nargs="*")
    options = arguments.parse_args()
    sys.path.insert(0, str(options.module.resolve().parent))
    return run(importlib.import_module(options.module.stem), options.tests, options.results)


if __name__ == "__main__":
    sys.exit(main())
