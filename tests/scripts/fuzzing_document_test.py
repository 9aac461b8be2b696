"""The commands of docs/fuzzing.md leave what they write in the build folder."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

from documents import commands
from sandbox import DEADLINE, ROOT


def files_below(folder):
    """The files below a folder with their contents, but for those in its folder "build"."""
    return {
        path.relative_to(folder): path.read_bytes()
        for path in folder.rglob("*")
        if path.is_file() and path.relative_to(folder).parts[0] != "build"
    }


class FuzzingDocument(unittest.TestCase):
    def setUp(self):
        self.checkout = pathlib.Path(tempfile.mkdtemp(prefix="corvane-"))
        self.addCleanup(shutil.rmtree, self.checkout)
        shutil.copytree(ROOT / "fuzz" / "corpus", self.checkout / "fuzz" / "corpus")
        (self.checkout / "build" / "fuzz").mkdir(parents=True)
        (self.checkout / "build" / "fuzz" / "bin").symlink_to(os.environ["CORVANE_PROGRAMS"])

    def test_a_long_run_with_jobs_leaves_the_checkout_as_it_was(self):
        before = files_below(self.checkout)
        self.assertTrue(before)
        lines = commands("fuzzing.md", "## Running for long")
        self.assertIn("-max_total_time=28800", lines)
        subprocess.run(
            ["sh", "-e", "-c", lines.replace("-max_total_time=28800", "-runs=1000")],
            cwd=self.checkout,
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
            check=True,
            timeout=DEADLINE,
        )
        self.assertEqual(files_below(self.checkout), before)
        found = self.checkout / "build" / "fuzz" / "found"
        # One log for each of the two jobs.
        self.assertEqual(len(list(found.glob("fuzz-*.log"))), 2)
