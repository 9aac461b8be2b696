"""The scripts that let shells complete what is typed."""

import pathlib
import re
import subprocess
import tempfile
import unittest

from corvane_run import DEADLINE, FrameTestCase, capture_of, commands_below, described, run

PROFILES = sorted(
    path.stem for path in (pathlib.Path(__file__).resolve().parents[2] / "profiles").glob("*.cfg")
)


class BashCompletion(FrameTestCase):
    @classmethod
    def setUpClass(cls):
        cls.script = run("completion", "bash").stdout

    def complete(self, *words):
        """-> what bash offers for the last of the words that follow the program's name"""
        typed = " ".join("'" + word.replace("'", "'\\''") + "'" for word in ("corvane", *words))
        ended = subprocess.run(
            [
                *("bash", "--norc", "-c"),
                f'{self.script}\nCOMP_WORDS=({typed}); COMP_CWORD={len(words)}; _corvane; '
                'printf "%s\\n" "${COMPREPLY[@]}"',
            ],
            cwd=self.folder,
            capture_output=True,
            text=True,
            check=False,
            timeout=DEADLINE,
        )
        self.assertEqual(ended.stderr, "")
        return sorted(ended.stdout.split("\n")[:-1])

    def test_commands_are_completed(self):
        names = sorted(command["name"].split()[1] for command in described()["commands"])
        self.assertEqual(self.complete(""), names)
        self.assertEqual(self.complete("inf"), ["info"])
        self.assertEqual(self.complete("wireshark", ""), ["install", "uninstall"])
        self.assertEqual(self.complete("wireshark", "un"), ["uninstall"])

    def test_options_are_completed(self):
        self.assertEqual(self.complete("export", "--for"), ["--format"])
        self.assertIn("-o", self.complete("export", "-"))
        self.assertEqual(self.complete("wireshark", "install", "--f"), ["--folder"])
        self.assertEqual(self.complete("--ver"), ["--version"])
        for command in commands_below(described()):
            wanted = sorted(name for option in command["options"] for name in option["names"])
            self.assertEqual(self.complete(*command["name"].split()[1:], "-"), wanted)

    def test_choices_are_completed(self):
        self.assertEqual(self.complete("export", "--clock", ""), ["host", "modem"])
        self.assertEqual(self.complete("export", "--format", "js"), ["jsonl"])
        # Bash makes three words of "--format=js".
        self.assertEqual(self.complete("export", "--format", "=", "js"), ["jsonl"])
        self.assertEqual(self.complete("export", "--format", "="), self.complete("export", "--format", ""))
        self.assertEqual(self.complete("completion", "p"), ["powershell"])

    def test_profiles_are_completed(self):
        self.assertEqual(self.complete("capture", "--profile", ""), PROFILES)
        self.assertEqual(self.complete("profile", "show", "lte-r"), ["lte-radio"])
        self.assertEqual(self.complete("profile", "show", ""), PROFILES)

    def test_values_of_lists_are_completed(self):
        self.assertEqual(
            self.complete("list", "--level", ""), ["error", "fatal", "high", "low", "medium"]
        )
        self.assertEqual(self.complete("stats", "--level", "low,h"), ["low,high"])
        for command in ("cut", "export", "list", "report", "stats"):
            self.assertEqual(self.complete(command, "--type", "sig"), ["signalling-log"], command)
        self.assertEqual(
            self.complete("list", "--type", "log,short-log,ev"), ["log,short-log,event"]
        )
        self.assertEqual(self.complete("list", "--fields", "time,log_n"), ["time,log_name"])
        self.assertEqual(self.complete("list", "--fields", "=", "log_c"), ["log_code"])
        # What another command takes by the same name is something else.
        self.assertEqual(self.complete("profile", "make", "--level", "lo"), [""])

    def test_every_offered_value_is_one(self):
        path = self.folder / "drive.isf"
        path.write_bytes(capture_of(3))
        for option in ("--type", "--level", "--fields"):
            offered = self.complete("list", option, "")
            self.assertGreater(len(offered), 4)
            ended = run("list", option, ",".join(offered), path)
            self.assertEqual(ended.returncode, 0, ended.stderr)

    def test_commands_behind_help_are_completed(self):
        self.assertEqual(self.complete("help", ""), self.complete(""))
        self.assertEqual(self.complete("help", "wire"), ["wireshark"])
        self.assertEqual(self.complete("help", "wireshark", ""), ["install", "uninstall"])
        self.assertEqual(self.complete("help", "profile", "ma"), ["make"])
        self.assertEqual(self.complete("help", "info", ""), [""])

    def test_file_names_are_completed(self):
        for name in ("drive.isf", "drive two.isf", "other.isf"):
            (self.folder / name).write_bytes(b"")
        self.assertEqual(self.complete("info", "dr"), ["drive two.isf", "drive.isf"])
        self.assertEqual(self.complete("info", "--deep", "oth"), ["other.isf"])
        self.assertEqual(self.complete("export", "-o", "o"), ["other.isf"])

    def test_what_nobody_can_guess_is_left_to_the_user(self):
        self.assertEqual(self.complete("export", "--leap-seconds", ""), [""])

    def test_no_name_has_a_letter_that_bash_would_take_for_its_own(self):
        for command in (described(), *commands_below(described())):
            words = [command["name"]]
            for option in (*command["options"], *command["arguments"]):
                words += option["names"] + option["choices"]
            for word in words:
                self.assertRegex(word, r"^[A-Za-z0-9. _-]+$")


class PowerShellCompletion(unittest.TestCase):
    """What can be told of the script without a PowerShell."""

    def wanted(self, name, option):
        """-> the values that are offered for an option: some that the help does not list"""
        if name == "--profile":
            return PROFILES
        if name == "--level" and option["value"] == "LEVEL[,LEVEL]":
            return ["low", "medium", "high", "error", "fatal"]
        if name == "--type":
            return re.findall("[a-z-]+", option["meaning"].partition("names: ")[2])
        if name == "--fields":
            with tempfile.NamedTemporaryFile(suffix=".isf") as file:
                file.write(capture_of(1))
                file.flush()
                return run("list", "--csv", file.name).stdout.splitlines()[0].split(",")
        return option["choices"]

    def test_it_has_every_command_option_and_choice(self):
        script = run("completion", "powershell").stdout
        for command in (described(), *commands_below(described())):
            words = " ".join(command["name"].split()[1:])
            _, found, below = script.partition(f"  $commands['{words}'] = @{{ Choices = $values\n")
            self.assertTrue(found, words)
            values = script.partition(f"  $commands['{words}'] = ")[0].rpartition("$values = ")[2]
            options = below.splitlines()[0]
            for option in command["options"]:
                for name in option["names"]:
                    self.assertIn(f"'{name}'", options)
                    if option["value"]:
                        wanted = self.wanted(name, option)
                        choices = ", ".join(f"'{choice}'" for choice in wanted)
                        self.assertIn(f"$values['{name}'] = @({choices})\n", values)
            lists = [
                f"'{name}'"
                for option in command["options"]
                for name in option["names"]
                if "[," in option["value"]
            ]
            self.assertEqual(below.splitlines()[1], f"    Lists = @({', '.join(lists)})")

    def test_it_has_the_commands_behind_help(self):
        script = run("completion", "powershell").stdout
        for command in commands_below(described()):
            words = command["name"].split()[1:]
            self.assertIn(f"  $commands['help {' '.join(words)}'] = @{{", script)

    def test_quotes_and_brackets_are_closed(self):
        script = run("completion", "powershell").stdout
        code = re.sub(r"^\s*#.*$", "", script, flags=re.MULTILINE)
        bare = re.sub(r"'(?:[^']|'')*'", "", code)
        self.assertNotIn("'", bare)
        self.assertNotIn('"', bare)
        open_ones = []
        for letter in bare:
            if letter in "({[":
                open_ones.append(letter)
            elif letter in ")}]":
                self.assertEqual(open_ones.pop() + letter, {")": "()", "}": "{}", "]": "[]"}[letter])
        self.assertEqual(open_ones, [])


if __name__ == "__main__":
    unittest.main()
