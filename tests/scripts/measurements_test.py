"""scripts/bench_table.py, scripts/bench/library.py and scripts/instruction_counts.py: what they make of what was
measured, and of what was not."""

import contextlib
import importlib.util
import io
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

SCRIPTS = pathlib.Path(__file__).resolve().parents[2] / "scripts"


def measured(what, ratio, goal="", **more):
    return {"what": what, "limit": "the limit", "ratio": ratio, "goal": goal, **more}


class InFolder(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="corvane-"))
        self.addCleanup(shutil.rmtree, self.folder)

    def run_script(self, script, *arguments):
        """-> exit code, standard output, standard error"""
        run = subprocess.run(
            [sys.executable, "-B", SCRIPTS / script, *arguments],
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
            cwd=self.folder,
            check=False,
        )
        return run.returncode, run.stdout, run.stderr


DOCUMENT = """# How fast it is

<!-- figures: first -->

an old table

<!-- end of figures -->

Words between the tables.

<!-- figures: second -->
<!-- end of figures -->
"""


class BenchTable(InFolder):
    def setUp(self):
        super().setUp()
        self.document = self.folder / "document.md"
        self.document.write_text(DOCUMENT)

    def script(self, name, *rows, code=0):
        """A measurement that prints `rows`. -> its file name"""
        lines = "".join(f"print({json.dumps(row)!r})\n" for row in rows)
        (self.folder / f"{name}.py").write_text(f"{lines}raise SystemExit({code})\n")
        return f"{name}.py"

    def table(self, *scripts):
        return self.run_script("bench_table.py", *scripts)

    def write(self, *scripts):
        return self.table("--write", self.document, *scripts)

    def assert_unwritten(self, scripts, message):
        code, _, errors = self.write(*scripts)
        self.assertEqual((code, errors), (1, message + "\n"))
        self.assertEqual(self.document.read_text(), DOCUMENT)

    def test_ratios_stand_beside_their_goals_with_a_verdict(self):
        code, output, _ = self.table(
            self.script(
                "first",
                measured("fast", 0.921, "at least 0.92"),
                measured("slow", 0.9199, "at least 0.92"),
                measured("cheap", 3.0, "at most 3", note="of 2"),
                measured("dear", 3.01, "at most 3"),
                measured("stated", 123.4),
            )
        )
        self.assertEqual(code, 0)  # a missed goal is shown, and is no error
        lines = [line.split("  ") for line in output.splitlines()[4:]]
        cells = [[cell.strip() for cell in line if cell] for line in lines]
        self.assertEqual(
            cells,
            [
                ["fast", "the limit", "0.92", "at least 0.92", "reached"],
                ["slow", "the limit", "0.92", "at least 0.92", "missed"],
                ["cheap", "the limit", "3.00", "at most 3", "reached", "of 2"],
                ["dear", "the limit", "3.01", "at most 3", "missed"],
                ["stated", "the limit", "123"],
            ],
        )

    def test_the_figures_of_a_script_are_replaced_and_nothing_else(self):
        code, _, errors = self.write(self.script("first", measured("fast", 1.5, "at most 2")))
        self.assertEqual((code, errors), (0, ""))
        text = self.document.read_text()
        head, _, rest = text.partition("<!-- figures: first -->\n")
        table, _, tail = rest.partition("<!-- end of figures -->")
        self.assertEqual(head, DOCUMENT.partition("<!-- figures: first -->\n")[0])
        self.assertEqual(tail, DOCUMENT.partition("an old table\n\n<!-- end of figures -->")[2])
        self.assertRegex(
            table,
            r"^\n.+, \d+ processors, Linux .+\.\n\n"
            r"\| What \| Beside \| Ratio \| Goal \|  \| Note \|\n"
            r"\| --- \| --- \| --: \| --- \| --- \| --- \|\n"
            r"\| fast \| the limit \| 1\.50 \| at most 2 \| reached \|  \|\n\n$",
        )

    def test_figures_that_were_written_are_replaced_again(self):
        self.write(self.script("first", measured("fast", 1.5)))
        self.write(self.script("first", measured("fast", 1.25)), self.script("second", measured("dear", 7)))
        text = self.document.read_text()
        self.assertNotIn("1.50", text)
        self.assertEqual((text.count("1.25"), text.count("7.00")), (1, 1))
        self.assertEqual(text.count("figures"), DOCUMENT.count("figures"))

    def test_a_document_without_a_place_for_a_script_is_an_error(self):
        self.assert_unwritten(
            [self.script("third", measured("fast", 1))],
            f"{self.document} has 0 places for the figures of third",
        )

    def test_a_script_that_fails_is_an_error(self):
        self.assert_unwritten([self.script("first", measured("fast", 1), code=3)], "first.py: exit code 3")

    def test_a_script_that_measures_nothing_is_an_error(self):
        self.assert_unwritten([self.script("first")], "first.py: measured nothing")

    def test_the_places_in_the_document_are_those_of_the_scripts(self):
        text = (SCRIPTS.parent / "docs" / "performance.md").read_text("utf-8")
        for script in (SCRIPTS / "bench").glob("*.py"):
            self.assertEqual(text.count(f"<!-- figures: {script.stem} -->\n"), 1, script)


# What the programs measure, in nanoseconds.
PROGRAMS = {
    "framing_bench": {
        "CrcLoop/stream": 100,
        "CheckLoop/stream": 110,
        "LibraryCrc/stream": 80,
        "Frame/stream": 125,
        "Unframe/stream": 100,
        "Receive/stream": 200,
    },
    "store_bench": {
        f"{name}/{load}": time
        for load in ("200 bytes", "1 byte", "8 bytes", "16640 bytes")
        for name, time in (("AddItem", 120), ("BareWrites", 100))
    }
    | {"ReceiveAndStore/stream": 130, "CheckAndBareWrites/stream": 100},
    "ota_bench": {"TwoSegmentBlock": 90, "CopyTheBits": 30},
}


class Library(InFolder):
    def program(self, name, output):
        """A stand-in for a program of the benchmarks."""
        file = self.folder / "build" / "bench" / "bin" / name
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(f"#!/bin/sh\ncat <<'END'\n{output}\nEND\n")
        file.chmod(0o755)

    def benchmarks(self, times, **more):
        """As Google Benchmark tells them: each twice, and what it makes of both."""
        for name, time in times.items():
            for taken, kind in ((time + 9, "iteration"), (time, "iteration"), (1, "aggregate")):
                yield {"name": name, "run_name": name, "run_type": kind, "cpu_time": taken, **more}

    def measure(self, programs, **more):
        for name, times in programs.items():
            self.program(name, json.dumps({"benchmarks": list(self.benchmarks(times, **more))}))
        self.program("allocations", "4.06")
        return self.run_script("bench/library.py")

    def test_the_shortest_times_are_set_beside_each_other(self):
        code, output, errors = self.measure(PROGRAMS)
        self.assertEqual((code, errors), (0, ""))
        rows = {row["what"]: row for row in map(json.loads, output.splitlines())}
        ratios = {what: round(row["ratio"], 3) for what, row in rows.items() if row["goal"]}
        self.assertEqual(
            ratios,
            {
                "UnframePacket, stream": 1.1,
                "FramePacket, stream": 0.8,
                "receive path without store, stream": 0.55,
                "AddItem, 200 bytes": 1.2,
                "receive path with store, stream": 1.3,
                "OTA, a block of two segments": 3.0,
            },
        )
        self.assertEqual(rows["allocations per received packet"]["ratio"], 4.06)

    def test_a_benchmark_that_is_missing_is_an_error(self):
        for program, times in PROGRAMS.items():
            for name in times:
                if name == "LibraryCrc/stream":
                    continue
                left = {other: time for other, time in times.items() if other != name}
                with self.subTest(name):
                    code, _, errors = self.measure(PROGRAMS | {program: left})
                    self.assertEqual((code, errors), (1, f"there is no benchmark {name}\n"))

    def test_a_benchmark_that_failed_is_an_error(self):
        code, _, errors = self.measure(PROGRAMS, error_occurred=True, error_message="a write failed")
        self.assertEqual((code, errors), (1, "CrcLoop/stream: a write failed\n"))


def instruction_counts():
    """-> the script as a module"""
    place = importlib.util.spec_from_file_location("instruction_counts", SCRIPTS / "instruction_counts.py")
    module = importlib.util.module_from_spec(place)
    place.loader.exec_module(module)
    return module


RECORDED = {"CountedUnframe": 1_000_000, "CountedAddItem": 200_000, "CountedOtaBlock": 2_000}


class InstructionCounts(InFolder):
    def check(self, counted, recorded, *options):
        """Runs the script where valgrind counts `counted`. -> exit code or message, and standard error"""
        script = instruction_counts()
        script.count = lambda program, work: counted[work]
        record = self.folder / "record.json"
        if recorded is not None:
            record.write_text(json.dumps(recorded))
        arguments, sys.argv = sys.argv, ["instruction_counts.py", *options, "--record", str(record), "program"]
        errors = io.StringIO()
        try:
            with contextlib.redirect_stdout(io.StringIO()), contextlib.redirect_stderr(errors):
                return script.main(), errors.getvalue()
        except SystemExit as end:
            return end.code, errors.getvalue()
        finally:
            sys.argv = arguments

    def test_the_recorded_counts_pass(self):
        self.assertEqual(self.check(RECORDED, RECORDED), (0, ""))

    def test_5_percent_more_of_each_pass(self):
        more = {"CountedUnframe": 1_050_000, "CountedAddItem": 210_000, "CountedOtaBlock": 2_100}
        self.assertEqual(self.check(more, RECORDED), (0, ""))

    def test_one_instruction_above_5_percent_of_any_fails(self):
        more = {"CountedUnframe": 1_050_001, "CountedAddItem": 210_001, "CountedOtaBlock": 2_101}
        for work, counted in more.items():
            with self.subTest(work):
                self.assertEqual(
                    self.check(RECORDED | {work: counted}, RECORDED),
                    (1, "More than 5 % above what record.json has\n"),
                )

    def test_fewer_instructions_pass(self):
        self.assertEqual(self.check(dict.fromkeys(RECORDED, 1), RECORDED), (0, ""))

    def test_a_work_without_a_recorded_count_fails(self):
        for work in RECORDED:
            recorded = {name: count for name, count in RECORDED.items() if name != work}
            with self.subTest(work):
                self.assertEqual(self.check(RECORDED, recorded), (f"record.json has no count of {work}", ""))

    def test_an_update_records_what_was_counted(self):
        counted = {work: count + 7 for work, count in RECORDED.items()}
        self.assertEqual(self.check(counted, None, "--update"), (0, ""))
        self.assertEqual(json.loads((self.folder / "record.json").read_text()), counted)

    def test_every_counted_work_has_its_count_in_the_repository(self):
        script = instruction_counts()
        self.assertEqual(list(json.loads(script.RECORD.read_text("utf-8"))), list(script.WORKS))

    def test_a_program_without_the_work_is_an_error(self):
        code, _, errors = self.run_script("instruction_counts.py", "/bin/true")
        self.assertEqual((code, errors), (1, "CountedUnframe: nothing was counted\n"))

    def test_a_program_that_fails_is_an_error(self):
        code, _, errors = self.run_script("instruction_counts.py", "/bin/false")
        self.assertEqual((code, errors.splitlines()[0]), (1, "CountedUnframe: exit code 1"))
