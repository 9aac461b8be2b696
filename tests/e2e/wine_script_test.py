"""scripts/wine.sh: how it starts Windows programs."""

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
