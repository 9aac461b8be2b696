"""The commands that README.md, the documents and the help show: each of them does what it says.

A block of commands in a document is run as it stands, line by line, unless a comment above it says why
it cannot be: <!-- not run: device -->. So is each whole command within a sentence. The examples of the
help are run unless they are marked as needing something. The options of all are looked up, whether they
are run or not. A simulated modem is ended as soon as it is there.
"""

import json
import os
import pathlib
import re
import shlex
import shutil
import signal
import subprocess
import tempfile
import unittest

import made_capture
from sandbox import ROOT
from signalling_story import PROFILE, PROGRAMS, corvane, raw_stream, told_story
from support import isf

DEADLINE = 60.0
DOCUMENTS = ("README.md", "CONTRIBUTING.md", *sorted(f"docs/{one.name}" for one in (ROOT / "docs").glob("*.md")))

# Why a block is not run.
REASONS = {
    "device",  # a modem, or its simulator beside it
    "wireshark",  # its window
    "root",  # may change the machine
    "set-up",  # the builds and tests themselves
}
BLOCK = re.compile(
    r"(?:^<!-- not run: (?P<reason>[^>]*?) -->\n)?^```(?P<language>\w*)\n(?P<text>.*?)^```$",
    re.DOTALL | re.MULTILINE,
)
INLINE = re.compile(r"`(corvane [^`]+)`")
# These need Windows, and say so elsewhere when nothing is wrong with their options.
WINDOWS_ONLY = ("capture", "devices")
# What a command makes comes behind one of these.
OUTPUTS = ("-o", "--output", "-w", "--write", ">", "-O")


def described():
    text = subprocess.run(
        [PROGRAMS / "corvane", "manual", "--json"], capture_output=True, check=True, timeout=DEADLINE
    ).stdout
    return json.loads(text)


ROOT_COMMAND = described()


def below(command):
    for one in command["commands"]:
        yield one
        yield from below(one)


class Block:
    def __init__(self, document, match):
        text = (ROOT / document).read_text(encoding="utf-8")
        self.place = f"{document}:{text.count(chr(10), 0, match.start('text')) + 1}"
        self.reason = match["reason"]
        self.language = match["language"]
        self.lines = joined_lines(match["text"])

    def has_commands(self):
        return self.language == "sh" or (
            self.language == "" and any(line.startswith("corvane ") for line in self.lines)
        )


def joined_lines(text):
    """The lines of a shell, those that end in a backslash with the next one."""
    return [line for line in text.replace("\\\n", " ").splitlines() if line.strip()]


def blocks():
    for document in DOCUMENTS:
        text = (ROOT / document).read_text(encoding="utf-8")
        for match in BLOCK.finditer(text):
            block = Block(document, match)
            if block.has_commands() or block.reason is not None:
                yield block


def table_examples():
    """The commands in the tables of README.md."""
    text = (ROOT / "README.md").read_text(encoding="utf-8")
    return re.findall(r"^\|.*\| `(corvane [^`]+)` \|$", text, re.MULTILINE)


def words_of(line):
    """The words of a line, with those of the shell's own among them."""
    lexer = shlex.shlex(line, posix=True, punctuation_chars="|<>;&()")
    lexer.whitespace_split = True
    return list(lexer)


def calls(line):
    """The words of each call of corvane in a line of the shell."""
    call = None
    for word in [*words_of(line), ";"]:
        if re.fullmatch(r"[|;&()]+", word):
            if call:
                yield call
            call = None
        elif call is not None:
            call.append(word)
        elif word == "corvane":
            call = []


def fault_of(call):
    """What of a call the program does not know; None for a good one."""
    command = ROOT_COMMAND
    for word in call:
        if command is ROOT_COMMAND and word == "COMMAND":
            return None  # any of them
        named = [one for one in command["commands"] if one["name"].split()[-1] == word]
        if named:
            command = named[0]
        elif command["commands"] and not word.startswith("-") and word != "help":
            return f"no command {word}"
        elif word.startswith("-") and word != "-" and not re.fullmatch(r"-\d.*", word):
            known = {name for option in command["options"] for name in option["names"]} | {"--version"}
            if word.split("=")[0] not in known:
                return f"no option {word} of {command['name']}"
    return None


def examples_with_needs():
    """The examples of the help that need something, as they are written."""
    for command in (ROOT_COMMAND, *below(ROOT_COMMAND)):
        for example in command["examples"]:
            if example["needs"]:
                yield example["command"]


def is_whole(line):
    """Whether a piece of a sentence is a command to type, and does not only name one or its option."""
    command, words = ROOT_COMMAND, words_of(line)[1:]
    while words:
        named = [one for one in command["commands"] if one["name"].split()[-1] == words[0]]
        if not named:
            break
        command = named[0]
        words.pop(0)
    if not words or command["commands"] or any(word.isupper() for word in words):
        return False
    if "--help" in words:
        return True
    lacks_option = any(
        option["required"] and not set(option["names"]) & set(words) for option in command["options"]
    )
    lacks_argument = command["arguments"] and words[-1].startswith("-")
    return not lacks_option and not lacks_argument


def whole_inline_commands():
    others = {*examples_with_needs(), *table_examples()}
    for document in DOCUMENTS:
        text = (ROOT / document).read_text(encoding="utf-8")
        for found in INLINE.findall(text):
            line = " ".join(found.split())
            if is_whole(line) and line not in others:
                yield document, line


def over_five_minutes(items):
    """A capture of these items, recorded evenly within five minutes."""
    made = made_capture.MadeCapture()
    begin = made_capture.item_time(1_715_947_200_000)  # 2024-05-17 12:00:00 UTC
    for item in items:
        made.add(item.type, begin + made.items * 300_000 // len(items), item.packet)
    return made.closed()


class Workplace:
    """A folder with the files that an example names."""

    def __init__(self, samples, folder):
        self.samples = samples
        self.folder = folder

    def prepare(self, line):
        words = words_of(line)
        outputs = {word for before, word in zip(words, words[1:]) if before in OUTPUTS}
        for word in words:
            name = word.replace("*", "1")
            sample = self.samples / ("sample" + "".join(pathlib.PurePath(name).suffixes[-1:]))
            if name.endswith(".isf.gz"):
                sample = self.samples / "sample.isf.gz"
            if word not in outputs and re.fullmatch(r"[\w.*-]+\.\w+", word) and sample.exists():
                shutil.copyfile(sample, self.folder / name)
        if "--overwrite" in words:
            for name in outputs:
                (self.folder / name).write_bytes(b"")

    def surroundings(self):
        return {"cwd": self.folder, "env": dict(os.environ, PATH=f"{PROGRAMS}:{os.environ['PATH']}")}

    def run_modem(self, line):
        """-> the first line that a simulated modem tells, and its exit code when it is asked to end"""
        (self.folder / "build").mkdir()
        with subprocess.Popen(
            shlex.split(line),
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            text=True,
            **self.surroundings(),
        ) as modem:
            first = modem.stdout.readline()
            modem.send_signal(signal.SIGTERM)
            modem.stdout.read()
            return first, modem.wait(DEADLINE)

    def run(self, line):
        self.prepare(line)
        return subprocess.run(
            ["bash", "-o", "pipefail", "-c", line],
            **self.surroundings(),
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            errors="replace",
            timeout=DEADLINE,
            check=False,
        )


class ShownCommands(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="corvane-shown-")
        cls.addClassCleanup(folder.cleanup)
        cls.samples = pathlib.Path(folder.name)
        stream = cls.samples / "sample.hdlc"
        stream.write_bytes(raw_stream(told_story("--count", "400")))
        sample = cls.samples / "sample.isf"
        corvane("import", stream, "-o", sample)
        sample.write_bytes(over_five_minutes(isf.read(sample).items))
        corvane("export", cls.samples / "sample.isf", "-o", cls.samples / "sample.pcapng")
        subprocess.run(["gzip", "-k", cls.samples / "sample.isf"], check=True)
        shutil.copyfile(PROFILE, cls.samples / "sample.cfg")

    def assert_modem_runs(self, place, line):
        with tempfile.TemporaryDirectory(prefix="corvane-shown-") as folder:
            first, code = Workplace(self.samples, pathlib.Path(folder)).run_modem(line)
        self.assertIn('"event":"plugged"', first, f"{place}: {line}")
        self.assertEqual(code, 0, f"{place}: {line}")

    def assert_runs(self, place, line):
        if words_of(line)[0] == "corvane-modem-sim":
            self.assert_modem_runs(place, line)
            return
        with tempfile.TemporaryDirectory(prefix="corvane-shown-") as folder:
            ended = Workplace(self.samples, pathlib.Path(folder)).run(line)
        if words_of(line)[1] in WINDOWS_ONLY:
            said = f"corvane {words_of(line)[1]}: only the Windows build, corvane.exe, can do this\n"
            self.assertEqual((ended.returncode, ended.stderr), (2, said), f"{place}: {line}")
        else:
            self.assertEqual(ended.returncode, 0, f"{place}: {line}\n{ended.stderr}")

    def test_the_commands_of_the_documents_run(self):
        count = 0
        for block in blocks():
            if block.reason is None:
                for line in block.lines:
                    if line.startswith("#"):
                        continue
                    with self.subTest(line=line):
                        self.assert_runs(block.place, line)
                    count += 1
        for line in table_examples():
            with self.subTest(line=line):
                self.assert_runs("README.md", line)
        self.assertGreaterEqual(count, 8)
        self.assertGreaterEqual(len(table_examples()), 12)

    def test_whole_commands_in_sentences_run(self):
        lines = list(whole_inline_commands())
        self.assertGreaterEqual(len(lines), 3)
        for document, line in lines:
            with self.subTest(line=line):
                self.assert_runs(document, line)

    def test_what_is_not_run_says_why(self):
        for block in blocks():
            if block.reason is not None:
                self.assertIn(block.reason, REASONS, block.place)

    def test_the_examples_of_the_help_run(self):
        count = 0
        for command in (ROOT_COMMAND, *below(ROOT_COMMAND)):
            for example in command["examples"]:
                if not example["needs"]:
                    with self.subTest(line=example["command"]):
                        self.assert_runs(command["name"], example["command"])
                    count += 1
        self.assertGreaterEqual(count, 12)

    def test_every_command_and_option_shown_is_one(self):
        shown = [(block.place, line) for block in blocks() for line in block.lines]
        for document in DOCUMENTS:
            text = (ROOT / document).read_text(encoding="utf-8")
            shown += [(document, " ".join(one.split())) for one in INLINE.findall(text)]
        for command in (ROOT_COMMAND, *below(ROOT_COMMAND)):
            shown += [(command["name"], example["command"]) for example in command["examples"]]
        self.assertGreater(len(shown), 20)
        for place, line in shown:
            for call in calls(line):
                with self.subTest(line=line):
                    self.assertIsNone(fault_of(call), f"{place}: {line}")


if __name__ == "__main__":
    unittest.main()
