"""scripts/coverage.py: what it makes of counts, and of lines that did not run."""

import contextlib
import importlib.util
import io
import pathlib
import shutil
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "coverage.py"


def load():
    place = importlib.util.spec_from_file_location("coverage_script", SCRIPT)
    module = importlib.util.module_from_spec(place)
    place.loader.exec_module(module)
    return module


coverage = load()

SOURCE = "int f(int a) {\n  if (a < 0) {\n    return 1;\n  }\n  return 2;\n}\n"


def counted(number, count, *branches, noncode=False):
    """A line as gcovr has it."""
    return {
        "line_number": number,
        "count": count,
        "branches": [{"count": branch} for branch in branches],
        "gcovr/noncode": noncode,
    }


class CoverageTestCase(unittest.TestCase):
    def setUp(self):
        self.root = pathlib.Path(tempfile.mkdtemp(prefix="corvane-"))
        self.addCleanup(shutil.rmtree, self.root)

    def lines(self, negative, room="diag"):
        """The lines of a file that ran ten times, `negative` of these with a negative number."""
        file = f"src/{room}/f.cpp"
        (self.root / file).parent.mkdir(parents=True, exist_ok=True)
        (self.root / file).write_text(SOURCE, encoding="utf-8")
        found = [
            counted(1, 10),
            counted(2, 10, negative, 10 - negative),
            counted(3, negative),
            counted(4, 0, noncode=True),
            counted(5, 10 - negative),
        ]
        return list(coverage.lines_of({"files": [{"file": file, "lines": found}]}, self.root))

    def tell(self, lines, explanations):
        """-> whether something is wrong, and what is printed of it"""
        printed = io.StringIO()
        with contextlib.redirect_stderr(printed):
            return coverage.tell(lines, explanations), printed.getvalue()


class Table(CoverageTestCase):
    def test_each_room_has_its_shares_and_all_have_theirs(self):
        lines = [*self.lines(0), *self.lines(3, "ota")]
        rows = [line.split() for line in coverage.table(lines)]
        self.assertEqual(rows[1], ["diag", "4", "75.0", "%", "2", "50.0", "%"])
        self.assertEqual(rows[2], ["ota", "4", "100.0", "%", "2", "100.0", "%"])
        self.assertEqual(rows[3], ["all", "8", "87.5", "%", "4", "75.0", "%"])

    def test_only_all_of_them_are_a_hundred_per_cent(self):
        self.assertEqual(coverage.percent(9_999, 10_000), "99.9 %")
        self.assertEqual(coverage.percent(10_000, 10_000), "100.0 %")
        self.assertEqual(coverage.percent(0, 0), "-")


class LinesThatDidNotRun(CoverageTestCase):
    WHY = {("src/diag/f.cpp", "if (a < 0) {", "return 1;"): "nobody has one"}

    def test_nothing_is_wrong_where_every_line_runs(self):
        self.assertEqual(self.tell(self.lines(1), {}), (False, ""))

    def test_a_line_without_an_explanation_is_wrong(self):
        told = "Not run and not explained: src/diag/f.cpp:3: return 1;\n"
        self.assertEqual(self.tell(self.lines(0), {}), (True, told))

    def test_of_a_room_that_is_not_held_to_it_it_is_not(self):
        self.assertEqual(self.tell(self.lines(0, "rewrite"), {}), (False, ""))

    def test_an_explained_line_is_not_told(self):
        self.assertEqual(self.tell(self.lines(0), self.WHY), (False, ""))

    def test_the_line_above_belongs_to_an_explanation(self):
        elsewhere = {("src/diag/f.cpp", "if (a > 0) {", "return 1;"): "nobody has one"}
        self.assertTrue(self.tell(self.lines(0), elsewhere)[0])

    def test_an_explanation_of_a_line_that_runs_is_wrong(self):
        told = "uncovered_lines.tsv: no longer needed: src/diag/f.cpp: return 1;\n"
        self.assertEqual(self.tell(self.lines(1), self.WHY), (True, told))

    def test_each_explained_line_of_the_repository_is_there(self):
        for file, above, line in coverage.explained(coverage.EXPLANATIONS.read_text("utf-8")):
            texts = [text.strip() for text in (coverage.ROOT / file).read_text("utf-8").splitlines()]
            self.assertIn((above, line), list(zip(texts, texts[1:])), file)


class Programs(CoverageTestCase):
    def test_a_build_without_programs_is_an_error(self):
        with self.assertRaisesRegex(coverage.Failed, "build the target counted_tests"):
            coverage.run_programs(self.root)

    def test_a_program_that_fails_is_named(self):
        program = self.root / "bin" / "f_test_counted"
        program.parent.mkdir()
        program.write_text("#!/bin/sh\nexit 3\n")
        program.chmod(0o755)
        with self.assertRaisesRegex(coverage.Failed, "f_test_counted: exit code 3"):
            coverage.run_programs(self.root)

    def test_counts_of_earlier_runs_do_not_stay(self):
        program = self.root / "bin" / "f_test_counted"
        program.parent.mkdir()
        program.write_text("#!/bin/sh\nexit 0\n")
        program.chmod(0o755)
        old = coverage.counts_folder(self.root) / "f.cpp.gcda"
        old.parent.mkdir(parents=True)
        old.write_bytes(b"old")
        coverage.run_programs(self.root)
        self.assertFalse(old.exists())


if __name__ == "__main__":
    unittest.main()
