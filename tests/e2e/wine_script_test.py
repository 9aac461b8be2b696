"""scripts/wine.sh: how it starts Windows programs, and the prefix that it has made."""

import os
import subprocess

from support import environment, wine


class WineScript(environment.WineTestCase):
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

    def test_the_prefix_has_links_to_the_libraries_of_wine_and_is_never_updated(self):
        prefix = environment.prefix().path
        library = prefix / "drive_c" / "windows" / "system32" / "shell32.dll"
        self.assertTrue(library.is_symlink())
        # Wine's update writes into its libraries where they are, and so through the links.
        self.assertEqual((prefix / ".update-timestamp").read_text().strip(), "disable")
        used = sum(
            os.lstat(os.path.join(folder, name)).st_blocks * 512
            for folder, _, names in os.walk(prefix / "drive_c")
            for name in names
        )
        self.assertLess(used, 100_000_000)
