"""scripts/totals.py on build folders that CTest itself has run over."""

import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

TOTALS = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "totals.py"
RECORDED_RUN = pathlib.Path(__file__).resolve().parents[1] / "support" / "recorded_run.py"

# Cases as GoogleTest 1.12 writes them.
PASSED = '<testcase name="passes" status="run" result="completed" classname="Suite" />'
FAILED = (
    '<testcase name="fails" status="run" result="completed" classname="Suite">'
    '<failure message="a.cpp:5&#x0A;Expected: true" type=""/></testcase>'
)
SKIPPED = (
    '<testcase name="skips" status="run" result="skipped" classname="Suite">'
    '<skipped message="a.cpp:3&#x0A;no modem"/></testcase>'
)
DISABLED = '<testcase name="DISABLED_x" status="notrun" result="suppressed" classname="Suite" />'


def google_test_result(*cases, failures=0, disabled=0, skipped=0):
    """A result file of GoogleTest: the root counts no skipped cases, the suite does."""
    counts = f'tests="{len(cases)}" failures="{failures}" disabled="{disabled}" errors="0"'
    return (
        f'<?xml version="1.0" encoding="UTF-8"?>\n<testsuites {counts} name="AllTests">'
        f'<testsuite name="Suite" {counts} skipped="{skipped}">{"".join(cases)}'
        "</testsuite></testsuites>\n"
    )


class TotalsTestCase(unittest.TestCase):
    def setUp(self):
        self.build = pathlib.Path(tempfile.mkdtemp(prefix="corvane-"))
        self.addCleanup(shutil.rmtree, self.build)
        self.programs = {}  # preset -> lines of its CTestTestfile.cmake

    def add(self, name, result=google_test_result(PASSED), code=0, preset="native", **properties):
        """A program that leaves `result` (None: nothing) and exits with `code`."""
        folder = self.build / preset
        folder.mkdir(exist_ok=True)
        # CTest writes its result file before it has run anything that makes the folder.
        (folder / "test-results").mkdir(exist_ok=True)
        script = f"exit {code}"
        if result is not None:
            (folder / f"{name}.result").write_text(result)
            script = f"cp {name}.result test-results/{name}.xml; {script}"
        lines = self.programs.setdefault(preset, [])
        lines.append(f'add_test({name} "/bin/sh" "-c" "{script}")')
        lines += [
            f"set_tests_properties({name} PROPERTIES {key} {value})"
            for key, value in properties.items()
        ]

    def add_python(self, name, source, preset="native"):
        """A module of Python tests, run as corvane_python_test has CTest run it."""
        folder = self.build / preset
        folder.mkdir(exist_ok=True)
        (folder / f"{name}.py").write_text(source)
        self.programs.setdefault(preset, []).append(
            f'add_test({name} "{sys.executable}" "-B" "{RECORDED_RUN}" "--results" '
            f'"test-results/{name}.xml" "{name}.py")'
        )

    def run_ctest(self):
        for preset, lines in self.programs.items():
            folder = self.build / preset
            (folder / "CTestTestfile.cmake").write_text("\n".join(lines) + "\n")
            subprocess.run(
                ["ctest", "--test-dir", folder, "--output-junit", "ctest.xml"],
                stdout=subprocess.DEVNULL,
                stderr=subprocess.DEVNULL,
                check=False,
            )

    def totals(self, *presets):
        """-> (exit code, the line of totals, everything on standard error)"""
        run = subprocess.run(
            [sys.executable, "-B", TOTALS, "--build", self.build, *(presets or self.programs)],
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
            check=False,
        )
        self.assertEqual(run.stdout.count("\n"), 1, run.stdout + run.stderr)
        return run.returncode, run.stdout.rstrip("\n"), run.stderr

    def assert_fails(self, line, *troubles):
        """The run fails with these totals, and standard error matches `troubles` line by line."""
        code, totals, errors = self.totals()
        self.assertEqual(code, 1)
        self.assertEqual(totals, line)
        self.assertEqual(len(errors.splitlines()), len(troubles), errors)
        for written, wanted in zip(errors.splitlines(), troubles):
            self.assertRegex(written, f"^{wanted}$")


# Tests with the outcomes that unittest has and GoogleTest has not.
EXPECTED_FAILURE = """
import unittest

class Marked(unittest.TestCase):
    def test_passes(self):
        pass

    @unittest.expectedFailure
    def test_fails_as_expected(self):
        self.fail("no modem")
"""
UNEXPECTED_SUCCESS = """
    @unittest.expectedFailure
    def test_passes_unexpectedly(self):
        pass
"""


class Totals(TotalsTestCase):
    def test_presets_and_programs_that_pass_are_summed_and_give_0(self):
        self.add("one", google_test_result(PASSED, PASSED))
        self.add("two")
        self.add("one", preset="asan")
        self.run_ctest()
        self.assertEqual(
            self.totals("native", "asan"),
            (
                0,
                "4 tests (native 3, asan 1) in 3 programs: "
                "4 passed, 0 failed, 0 skipped, 0 programs failed",
                "",
            ),
        )

    def test_a_failed_case_fails_the_run_and_is_named(self):
        self.add("one", google_test_result(PASSED, FAILED, failures=1), code=1)
        self.run_ctest()
        self.assert_fails(
            "2 tests (native 2) in 1 programs: 1 passed, 1 failed, 0 skipped, 1 programs failed",
            "native: one: failed",
            r"native: one: Suite\.fails: failed \(a\.cpp:5 Expected: true\)",
        )

    def test_a_failed_case_fails_the_run_although_the_exit_is_0(self):
        self.add("one", google_test_result(FAILED, failures=1))
        self.run_ctest()
        self.assert_fails(
            "1 tests (native 1) in 1 programs: 0 passed, 1 failed, 0 skipped, 0 programs failed",
            r"native: one: Suite\.fails: failed .*",
        )

    def test_a_program_that_leaves_no_result_fails_the_run(self):
        self.add("one")
        self.add("silent", result=None)
        self.run_ctest()
        self.assert_fails(
            "1 tests (native 1) in 2 programs: 1 passed, 0 failed, 0 skipped, 1 programs failed",
            r"native: silent: left no result: no silent\.xml",
        )

    def test_a_result_that_breaks_off_fails_the_run(self):
        self.add("one", google_test_result(PASSED)[:-20])
        self.run_ctest()
        self.assert_fails(
            "0 tests (native 0) in 1 programs: 0 passed, 0 failed, 0 skipped, 1 programs failed",
            r"native: one: left no result: one\.xml is no whole XML file: .*",
        )

    def test_a_result_without_a_case_fails_the_run(self):
        self.add("one")
        self.add("empty", google_test_result())
        self.run_ctest()
        self.assert_fails(
            "1 tests (native 1) in 2 programs: 1 passed, 0 failed, 0 skipped, 1 programs failed",
            "native: empty: has no test case",
        )

    def test_a_skipped_case_fails_the_run_and_has_not_passed(self):
        self.add("one", google_test_result(PASSED, SKIPPED, skipped=1))
        self.run_ctest()
        self.assert_fails(
            "2 tests (native 2) in 1 programs: 1 passed, 0 failed, 1 skipped, 0 programs failed",
            r"native: one: Suite\.skips: skipped \(a\.cpp:3 no modem\)",
        )

    def test_a_python_test_that_passes_unexpectedly_fails_the_run(self):
        self.add_python("marked", EXPECTED_FAILURE + UNEXPECTED_SUCCESS)
        self.run_ctest()
        self.assert_fails(
            "3 tests (native 3) in 1 programs: 1 passed, 1 failed, 1 skipped, 1 programs failed",
            "native: marked: failed",
            r"native: marked: marked\.Marked\.test_fails_as_expected: skipped "
            r"\(expected failure: AssertionError: no modem\)",
            r"native: marked: marked\.Marked\.test_passes_unexpectedly: failed "
            r"\(unexpected success: .*\)",
        )

    def test_a_python_test_that_fails_as_expected_fails_the_run(self):
        self.add_python("marked", EXPECTED_FAILURE)
        self.run_ctest()
        self.assert_fails(
            "2 tests (native 2) in 1 programs: 1 passed, 0 failed, 1 skipped, 0 programs failed",
            r"native: marked: .*test_fails_as_expected: skipped .*",
        )

    def test_a_disabled_case_fails_the_run_and_has_not_passed(self):
        self.add("one", google_test_result(PASSED, DISABLED, disabled=1))
        self.run_ctest()
        self.assert_fails(
            "2 tests (native 2) in 1 programs: 1 passed, 0 failed, 1 skipped, 0 programs failed",
            r"native: one: Suite\.DISABLED_x: disabled",
        )

    def test_a_disabled_program_fails_the_run(self):
        self.add("one")
        self.add("off", DISABLED="TRUE")
        self.run_ctest()
        self.assert_fails(
            "1 tests (native 1) in 2 programs: 1 passed, 0 failed, 0 skipped, 1 programs failed",
            r"native: off: disabled, left no result: no off\.xml",
        )

    def test_a_program_that_ctest_counts_as_skipped_fails_the_run(self):
        self.add("one", code=77, SKIP_RETURN_CODE="77")
        self.run_ctest()
        self.assert_fails(
            "1 tests (native 1) in 1 programs: 1 passed, 0 failed, 0 skipped, 1 programs failed",
            r"native: one: skipped \(SKIP_RETURN_CODE=77\)",
        )

    def test_a_program_that_is_missing_is_counted_and_fails_the_run(self):
        self.add("one")
        self.programs["native"].append('add_test(missing "/nonexistent/program")')
        self.run_ctest()
        self.assert_fails(
            "1 tests (native 1) in 2 programs: 1 passed, 0 failed, 0 skipped, 1 programs failed",
            r"native: missing: skipped \(Unable to find executable\), left no result: .*",
        )

    def test_a_program_that_ctest_has_not_run_fails_the_run(self):
        self.add("one")
        self.run_ctest()
        with open(self.build / "native" / "CTestTestfile.cmake", "a", encoding="ascii") as file:
            file.write('add_test(late "/bin/true")\n')
        self.assert_fails(
            "1 tests (native 1) in 2 programs: 1 passed, 0 failed, 0 skipped, 1 programs failed",
            r"native: late: was not run, left no result: no late\.xml",
        )

    def test_a_ctest_that_left_no_record_fails_the_run(self):
        self.add("one")
        self.run_ctest()
        (self.build / "native" / "ctest.xml").unlink()
        self.assert_fails(
            "1 tests (native 1) in 1 programs: 1 passed, 0 failed, 0 skipped, 1 programs failed",
            r"native: no ctest\.xml",
            "native: one: was not run",
        )

    def test_a_preset_without_programs_or_folder_fails_the_run(self):
        self.add("one")
        self.programs["empty"] = []
        (self.build / "empty").mkdir()
        self.run_ctest()
        self.programs["absent"] = []
        self.assert_fails(
            "1 tests (native 1, empty 0, absent 0) in 3 programs: "
            "1 passed, 0 failed, 0 skipped, 2 programs failed",
            "empty: CTest knows no program",
            f"absent: no folder {re.escape(str(self.build))}/absent",
        )
