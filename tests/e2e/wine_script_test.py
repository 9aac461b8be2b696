"""scripts/wine.sh: how it starts Windows programs, and the prefix that it makes for them."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

from support import environment, wine


class WineScript(unittest.TestCase):
    def folder(self):
        path = pathlib.Path(tempfile.mkdtemp(prefix="corvane-"))
        self.addCleanup(shutil.rmtree, path)
        return path

    def test_a_folder_may_have_any_letters_under_the_posix_locale(self):
        # Letters of more than one Windows code page.
        folder = self.folder() / "Straße Ж 東"
        folder.mkdir()
        (folder / "here").touch()
        listed = subprocess.run(
            [wine.ROOT / "scripts" / "wine.sh", "cmd", "/c", "dir", "/b"],
            env={**environment.prefix().environment, "LC_ALL": "POSIX"},
            cwd=folder,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            check=True,
        )
        self.assertEqual(listed.stdout.split(), [b"here"])

    def test_a_windows_program_has_its_heap_at_a_fixed_place(self):
        # Linux's ADDR_NO_RANDOMIZE, where a program may ask for it.
        allowed = subprocess.run(["setarch", "-R", "true"], stderr=subprocess.DEVNULL)
        host = wine.HostProcess(environment.prefix(), "cmd", "/c", "echo ready& set /p line=")
        self.addCleanup(host.kill)
        personality = int(pathlib.Path(f"/proc/{host.pid}/personality").read_text(), 16)
        self.assertEqual(personality & 0x0040000 != 0, allowed.returncode == 0)

    def test_a_host_that_is_not_ready_is_told_with_all_it_said(self):
        command = "echo one way& echo the reason 1>&2& exit 7"
        with self.assertRaises(AssertionError) as failure:
            wine.HostProcess(environment.prefix(), "cmd", "/c", command)
        told = str(failure.exception)
        for part in ("'ready'", "exit code 7", "one way", "the reason"):
            self.assertIn(part, told)

    def test_a_new_prefix_is_small_and_leaves_the_home_folder_alone(self):
        home = self.folder()
        prefix = self.folder() / "prefix"
        settings = {**os.environ, "CORVANE_WINEPREFIX": str(prefix), "HOME": str(home)}
        for ending in ("-w", "-k"):  # the last one is done first
            self.addCleanup(
                subprocess.run,
                ["wineserver", ending],
                env={**os.environ, "WINEPREFIX": str(prefix)},
            )
        subprocess.run(
            [wine.ROOT / "scripts" / "wine.sh"],
            env=settings,
            stdin=subprocess.DEVNULL,
            check=True,
        )
        self.assertEqual(list(home.iterdir()), [])
        # Wine's libraries are linked. Its update would write through the links: there is none.
        library = prefix / "drive_c" / "windows" / "system32" / "shell32.dll"
        self.assertTrue(library.is_symlink())
        self.assertEqual((prefix / ".update-timestamp").read_text().strip(), "disable")
        used = sum(
            os.lstat(os.path.join(folder, name)).st_blocks * 512
            for folder, _, names in os.walk(prefix)
            for name in names
        )
        self.assertLess(used, 60_000_000)
