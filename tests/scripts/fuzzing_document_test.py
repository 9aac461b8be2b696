"""scripts/fuzz.sh, as docs/fuzzing.md shows it, and what it leaves behind."""

import os
import pathlib
import shutil
import unittest

from documents import commands
from sandbox import DEADLINE, ROOT, Sandbox

PROGRAMS = pathlib.Path(os.environ["CORVANE_PROGRAMS"])
SEED = b"\x821\x83"  # a section of log codes


def files_below(folder):
    """The files below a folder with their contents."""
    return {path.relative_to(folder): path.read_bytes() for path in folder.rglob("*") if path.is_file()}


class FuzzScript(unittest.TestCase):
    def setUp(self):
        self.sandbox = Sandbox()
        self.addCleanup(self.sandbox.close)
        self.root = self.sandbox.root
        self.corpus = self.root / "fuzz" / "corpus" / "configuration"
        self.corpus.mkdir(parents=True)
        (self.corpus / "one-section").write_bytes(SEED)
        shutil.copy(ROOT / "fuzz" / "configuration_fuzzer.cpp", self.root / "fuzz")
        (self.root / "build" / "fuzz").mkdir(parents=True)

    def use_real_fuzzers(self):
        (self.root / "build" / "fuzz" / "bin").symlink_to(PROGRAMS)

    def use_stand_in(self):
        self.sandbox.add_program("../build/fuzz/bin/configuration_fuzzer")

    def run_script(self, *arguments, **environment):
        script = self.sandbox.start("fuzz.sh", *arguments, **environment)
        return script.wait(DEADLINE)

    def test_what_reaches_new_code_is_added_to_the_corpus(self):
        self.use_real_fuzzers()
        self.assertEqual(self.run_script("configuration", "1", "-runs=20000", "-seed=1"), 0)
        after = files_below(self.root / "fuzz" / "corpus")
        self.assertEqual(after.pop(pathlib.Path("configuration/one-section")), SEED)
        self.assertGreater(len(after), 3)
        self.assertLessEqual(max(map(len, after.values())), 1024)
        printed = self.sandbox.printed()
        self.assertIn(f"{len(after)} inputs added to fuzz/corpus/configuration", printed)
        self.assertRegex(printed, r"(?m)^20[0-9]{3} executions$")
        self.assertIn("cmake --build --preset fuzz --target configuration_fuzzer", self.built())

    def built(self):
        return [call for call in self.sandbox.calls() if call.startswith("cmake --build")][0]

    def test_a_target_that_stops_leaves_the_corpus_alone(self):
        self.use_stand_in()
        code = self.run_script("configuration", "1", FAIL_AT="configuration_fuzzer -max_total*")
        self.assertEqual(code, 1)
        self.assertEqual(files_below(self.corpus), {pathlib.Path("one-section"): SEED})
        self.assertIn("the reason of the failure", self.sandbox.printed())
        self.assertNotIn("_merge=1", "".join(self.sandbox.calls()))

    def test_wrong_usage_is_told(self):
        for arguments in ((), ("configuration",), ("unknown", "1"), ("configuration", "soon")):
            self.assertEqual(self.run_script(*arguments), 2, arguments)
            self.assertIn("Usage: scripts/fuzz.sh TARGET MINUTES", self.sandbox.printed())
        self.assertEqual(self.sandbox.calls(), [])

    def test_the_document_shows_it(self):
        line = commands("fuzzing.md", "## Running for long").splitlines()[0].split()
        self.assertEqual(line[0], "scripts/fuzz.sh")
        self.assertTrue((ROOT / "fuzz" / f"{line[1]}_fuzzer.cpp").exists())
