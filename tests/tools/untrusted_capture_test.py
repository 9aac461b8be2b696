"""Captures of strangers: whatever their texts and names are, no command lets them act on a terminal,
a spreadsheet or a browser, and no file is made but the one that was asked for."""

import csv
import html.parser
import io
import json
import os
import pathlib
import re
import shutil
import stat
import struct
import subprocess
import tempfile
import time
import unittest

import made_capture

PROGRAM = pathlib.Path(os.environ["CORVANE_PROGRAMS"]) / "corvane"
DEADLINE = 60.0
NOON = made_capture.item_time(1_715_947_200_000)  # 2024-05-17 12:00:00 UTC
NOON_TEXT = "2024-05-17T12:00:00.000Z"

FORMULAS = ("=1+1", "+1", "-1", "@SUM(1)", "\t=1", "\r=1", "=cmd|' /C calc'!A1,\"x\"")
TERMINAL = (
    "\x1b]0;title\x07", "\x1b[2J\x1b[31m", "\x9b31m", "\x90q\x9c", "\x7f\x08\x08", "a\rb", "a\nb",
    "\u202eevil", "\u2066\u2069", "\u200f\u061c", "\u2028\u2029", "\x0c\x0b\x00",
)
MARKUP = (
    "</script><script>alert(1)</script>", "<!-- <script>", "--><svg onload=alert(1)>",
    "\" onmouseover=\"alert(1)", "' onfocus='alert(1)", "</td></table><img src=x onerror=alert(1)>",
    "&lt;b&gt;", "]]>",
)
TEXTS = FORMULAS + TERMINAL + MARKUP
# No UTF-8: a control character of eight bits, a cut sequence, one that is too long, a surrogate.
BAD_BYTES = b"\x9b31m\xc3(\xc0\x8a\xed\xa0\x80\xff"

# What acts on a text around it, but for line ends and tabs, which are for each format to judge.
ACTING = re.compile(
    "[\x00-\x08\x0b\x0c\x0e-\x1f\x7f-\x9f\u061c\u200e\u200f\u2028-\u202e\u2066-\u206f]"
)


def acts(character):
    return bool(ACTING.match(character)) or character in "\t\r\n"


def visible(text):
    """As terminals and tables have it."""
    return "".join(
        (f"\\u{ord(c):04X}" if ord(c) > 0xFF else f"\\x{ord(c):02X}") if acts(c) else c for c in text
    )


def message_packet(text, file=b"file.c"):
    return struct.pack("<BBBBQHHI", 0x79, 0, 0, 0, 0, 1, 5, 2) + text + b"\0" + file + b"\0"


def capture_of(texts, bad=BAD_BYTES):
    """Each text as one of the recorder's, as the name of a port, a debug message and its file."""
    made = made_capture.MadeCapture()
    add = made.add
    made.add_text("Corvane version 1.0", NOON)
    for text in texts:
        plain = text.replace("\0", "\1")  # a NUL ends a text
        made.add_text(f"Port {plain} connected", NOON)
        add(made_capture.REQUEST, NOON, b"\x29\x01\x00")
        made.add_text(plain, NOON)
        made.add_text(f"Imported from {plain}", NOON)
        add(made_capture.MESSAGE, NOON, message_packet(plain.encode(), plain.encode()))
        # Version and build of the modem, which are texts of a fixed length.
        fixed = plain.encode()[:11].ljust(11, b"\0") + plain.encode()[:8].ljust(8, b"\0")
        add(made_capture.PACKET, NOON, b"\x00" + fixed * 2 + bytes(16))
        build = struct.pack("<BBHII", 0x7C, 1, 0, 1, 2) + plain.encode() + b"\0" + plain.encode() + b"\0"
        add(made_capture.PACKET, NOON, build)
        made.add_text(f"Port {plain} disconnected", NOON)
    add(made_capture.MESSAGE, NOON, message_packet(bad, bad))
    # UTF-16 that has no character: half a surrogate pair.
    add(made_capture.INFORMATION, NOON, b"\xc0\xff\xff\xff" + b"a\x00\x00\xd8b\x00\x00\x00")
    return made.closed()


class UntrustedTestCase(unittest.TestCase):
    name = "=1+1 \x1b[31m\u202e<b>\"',.isf"

    def setUp(self):
        self.root = pathlib.Path(tempfile.mkdtemp(prefix="corvane-"))
        self.addCleanup(shutil.rmtree, self.root)
        self.folder = self.root / "asked"
        self.folder.mkdir()
        self.capture = self.folder / self.name
        self.capture.write_bytes(capture_of(TEXTS))
        marks = (f"{NOON_TEXT} ".encode() + text.replace("\n", " ").encode() + b"\n" for text in TEXTS)
        self.marks = self.folder / f"{self.name}.marks"
        self.marks.write_bytes(b"".join(marks) + f"{NOON_TEXT} ".encode() + BAD_BYTES + b"\n")

    def run_corvane(self, *arguments, **options):
        return subprocess.run(
            [PROGRAM, *arguments],
            **{"stdin": subprocess.DEVNULL, "capture_output": True, "timeout": DEADLINE, "check": False,
               **options},
        )

    def output_of(self, *arguments, codes=(0,)):
        """-> standard output; messages are inert, whatever is done"""
        ended = self.run_corvane(*arguments)
        self.assertIn(ended.returncode, codes, ended.stderr)
        self.assert_inert(ended.stderr, "\n")
        return ended.stdout

    def assert_inert(self, data, kept):
        text = data.decode("utf-8")
        for line in text.splitlines(keepends=True):
            found = [c for c in line if acts(c) and c not in kept]
            self.assertEqual(found, [], repr(line))
        return text


class Terminals(UntrustedTestCase):
    def test_what_is_read_by_people_is_inert(self):
        for command in (
            ("list",), ("list", "--hex"), ("info",), ("info", "--deep"), ("stats",),
            ("stats", "--interval", "1s"), ("verify",), ("verify", "--contents"),
        ):
            with self.subTest(command=command):
                output = self.output_of(*command, self.capture, codes=(0, 1))
                self.assertTrue(output)
                self.assert_inert(output, "\n")

    def test_fields_are_inert(self):
        for separator in ("\\t", ";"):
            output = self.output_of(
                "list", self.capture, "--fields", "text,port,file,details", "--separator", separator
            )
            shown = self.assert_inert(output, "\n\t" if separator == "\\t" else "\n")
            for text in TERMINAL:
                self.assertIn(visible(text.replace("\0", "\1")), shown)

    def test_a_text_shows_what_was_in_it(self):
        shown = self.output_of("list", self.capture).decode()
        for text in (r"\x1B]0;title\x07", r"\x9B31m", r"\u202Eevil", r"a\x0Db", r"\x9B31m\xC3(\xC0\x8A"):
            self.assertIn(text, shown)

    def test_messages_name_files_without_obeying_them(self):
        broken = self.folder / "a\rb\x1b[2J\u202e.isf"
        broken.write_bytes(self.capture.read_bytes()[:-3])
        missing = self.folder / "no\x9b\x07.isf"
        for command in ("list", "info", "stats", "verify"):
            self.output_of(command, broken, codes=(0, 1, 3))
            self.output_of(command, missing, codes=(1,))
        for command in ("cut", "recover", "report", "export", "merge"):
            self.output_of(command, broken, "-o", self.folder / f"{command}\x1b[2J", codes=(0, 1, 3))
            self.output_of(command, missing, "-o", self.folder / f"{command}\x1b[2J.2", codes=(1,))
        self.output_of("mark", broken, "x\x1b[2J", "--at", "12:00", codes=(0, 1, 2))
        self.output_of("import", missing, "-o", self.folder / "made", codes=(1,))
        self.output_of("list", "--type", "\x1b[2J", self.capture, codes=(2,))
        self.output_of("\x1b[2J", codes=(2,))


class Rows(UntrustedTestCase):
    def test_json_gives_the_texts_back_and_is_inert(self):
        for command in (("list", "--json"), ("export", "--format", "jsonl", "-w", "-")):
            output = self.output_of(*command, self.capture)
            self.assert_inert(output, "\n")
            texts = {json.loads(line).get("text") for line in output.splitlines()}
            for text in TEXTS:
                self.assertIn(text.replace("\0", "\1"), texts)
        self.assert_inert(self.output_of("verify", "--json", self.capture, codes=(0, 1)), "\n")
        found = json.loads(self.assert_inert(self.output_of("stats", "--json", self.capture), "\n"))
        self.assertIn("=1+1", json.dumps(found))

    def test_csv_has_no_formulas_and_is_inert(self):
        for command in (("list", "--csv"), ("export", "--format", "csv", "-w", "-")):
            output = self.output_of(*command, self.capture)
            self.assert_inert(output, "\t\r\n")
            rows = list(csv.DictReader(io.StringIO(output.decode(), newline="")))
            texts = {row["text"] for row in rows}
            for text in FORMULAS:
                self.assertIn("'" + text, texts)
            for text in MARKUP:
                self.assertIn(("'" if text.startswith("-") else "") + text, texts)
            for row in rows:
                # Numbers stay numbers; no field that may be a text begins a formula.
                self.assertRegex(row["type"] + row["length"], r"^\d*$")
                self.assertEqual([cell for cell in row.values() if cell[:1] in tuple("=+-@\t\r")], [])

    def test_tables_of_statistics_have_no_formulas(self):
        cells = []
        for options in ((), ("--interval", "1s")):
            output = self.output_of("stats", "--csv", *options, self.capture)
            self.assert_inert(output, "\t\r\n")
            cells += [cell for row in csv.reader(io.StringIO(output.decode(), newline="")) for cell in row]
        self.assertEqual([cell for cell in cells if cell[:1] in tuple("=+-@\t\r")], [])
        self.assertIn("'=1+1", cells)  # the name of a port


class Page(html.parser.HTMLParser):
    """The shape of a page: its tags with the names of their attributes."""

    def __init__(self, text):
        super().__init__()
        self.shape = set()
        self.comments = 0
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        self.shape |= {(tag, name) for name, _ in attributes} | {(tag, None)}

    def handle_comment(self, data):
        self.comments += 1


class Reports(UntrustedTestCase):
    def page_of(self, capture, name):
        output = self.folder / name
        self.output_of("report", capture, "-o", output, codes=(0, 1))
        return output.read_bytes()

    def test_a_page_has_the_shape_of_a_harmless_ones(self):
        harmless = self.folder / "drive.isf"
        harmless.write_bytes(capture_of([f"text {number}" for number in range(len(TEXTS))], b"bad"))
        marks = "".join(f"{NOON_TEXT} mark {number}\n" for number in range(len(TEXTS) + 1))
        (self.folder / "drive.isf.marks").write_text(marks)
        expected = Page(self.page_of(harmless, "a.html").decode())
        text = self.assert_inert(self.page_of(self.capture, "b.html"), "\n\t\r")
        page = Page(text)
        self.assertEqual(page.shape, expected.shape)
        self.assertEqual(page.comments, expected.comments)
        for wanted in MARKUP:
            self.assertFalse("<" in wanted and wanted in text, wanted)


class Files(UntrustedTestCase):
    """What is made, and where. Nothing is made outside the folder that was asked for."""

    def setUp(self):
        super().setUp()
        self.other = self.root / "other"
        self.other.mkdir()
        self.precious = self.other / "precious"
        self.precious.write_bytes(b"precious")

    def making(self):
        """Each command that makes a file of a capture, with its name."""
        stream = self.folder / "stream.hdlc"
        self.output_of("export", self.capture, "--format", "hdlc", "-o", stream)
        for command, source in (
            (("cut",), self.capture), (("recover",), self.capture), (("merge",), self.capture),
            (("report",), self.capture), (("export",), self.capture),
            (("export", "--format", "csv"), self.capture), (("import",), stream),
        ):
            with self.subTest(command=command):
                yield command, source

    def assert_nothing_elsewhere(self):
        self.assertEqual([self.precious], list(self.other.iterdir()))
        self.assertEqual(self.precious.read_bytes(), b"precious")

    def test_names_in_a_capture_are_never_paths(self):
        texts = [f"{prefix}/../../other/made" for prefix in ("", "..", "/tmp", str(self.root))]
        texts += [str(self.precious), "..\\..\\other\\made", "~/made", "{device}", "%TEMP%\\made"]
        self.capture.write_bytes(capture_of(texts))
        for number, (command, source) in enumerate(self.making()):
            before = {path for path in self.root.rglob("*")}
            made = self.folder / f"made {number}"
            self.output_of(*command, source, "-o", made, codes=(0, 1))
            side = {self.folder / f"{made.name}.marks"}
            self.assertEqual({path for path in self.root.rglob("*")} - before - side, {made})
        self.assert_nothing_elsewhere()

    def test_nothing_is_replaced_unasked(self):
        for command, source in self.making():
            for name in ("there", "there.html"):
                there = self.folder / name
                there.write_bytes(b"there")
                self.output_of(*command, source, "-o", there, codes=(1,))
                self.assertEqual(there.read_bytes(), b"there")
                self.output_of(*command, source, "-o", source, codes=(1,))
        # The markers of a new capture are a file that nobody named.
        for command in ("cut", "recover", "merge"):
            side = self.folder / f"new {command}.isf.marks"
            side.write_bytes(b"there")
            self.output_of(command, self.capture, "-o", self.folder / f"new {command}.isf", codes=(1,))
            self.assertEqual(side.read_bytes(), b"there")
            self.assertFalse((self.folder / f"new {command}.isf").exists())

    def test_planted_links_are_not_written_through(self):
        for number, (command, source) in enumerate(self.making()):
            made = self.folder / f"made {number}.isf"
            nowhere = self.other / f"nowhere {number}"
            (self.folder / f"{made.name}.part").symlink_to(self.precious)
            (self.folder / f"{made.name}.part2").symlink_to(nowhere)
            (self.folder / f"{made.name}.marks.part").symlink_to(nowhere)
            self.output_of(*command, source, "-o", made, codes=(0, 1))
            self.assertTrue(made.is_file() and not made.is_symlink())
            self.assert_nothing_elsewhere()
            for suffix in (".part", ".part2", ".marks.part"):
                self.assertTrue((self.folder / f"{made.name}{suffix}").is_symlink())

    def test_a_link_that_leads_nowhere_has_its_name(self):
        for number, (command, source) in enumerate(self.making()):
            made = self.folder / f"made {number}.isf"
            made.symlink_to(self.other / "nowhere")
            self.output_of(*command, source, "-o", made, codes=(1,))
            self.output_of(*command, source, "-o", made, "--overwrite", codes=(0, 1))
            self.assertFalse(made.is_symlink())
            self.assert_nothing_elsewhere()

    def test_a_growing_export_is_not_written_through_a_link(self):
        made = self.folder / "made.jsonl"
        for target in (self.precious, self.other / "nowhere"):
            made.symlink_to(target)
            for follow in ((), ("--follow",)):
                self.output_of(
                    "export", "--format", "jsonl", self.capture, "-w", made, *follow, codes=(1,)
                )
                self.assert_nothing_elsewhere()
            made.unlink()

    def test_links_to_markers_are_replaced_and_not_followed(self):
        for target in (self.precious, self.other / "nowhere"):
            for command in ("cut", "recover", "merge"):
                made = self.folder / "made.isf"
                made.write_bytes(b"old")
                side = self.folder / "made.isf.marks"
                side.unlink(missing_ok=True)
                side.symlink_to(target)
                self.output_of(command, self.capture, "-o", made, "--overwrite")
                self.assert_nothing_elsewhere()
                self.assertFalse(side.is_symlink())

    def test_a_marker_is_not_written_through_a_link(self):
        for target in (self.precious, self.other / "nowhere"):
            self.marks.unlink()
            self.marks.symlink_to(target)
            ended = self.run_corvane("mark", self.capture, "here", "--at", "12:00")
            self.assertEqual(ended.returncode, 1)
            self.assertIn(b".marks cannot be written", ended.stderr)
            self.assert_nothing_elsewhere()

    def test_markers_that_are_no_file_are_not_waited_for(self):
        self.marks.unlink()
        os.mkfifo(self.marks)
        self.output_of("list", self.capture, codes=(1,))
        self.output_of("mark", self.capture, "here", "--at", "12:00", codes=(1,))
        self.marks.unlink()
        self.marks.symlink_to("/dev/zero")
        self.output_of("list", self.capture, codes=(1,))
        self.output_of("report", self.capture, "-o", self.folder / "made.html", codes=(0, 1))

    def test_bytes_of_standard_input_lie_in_a_file_without_a_name(self):
        spool = self.root / "spool"
        spool.mkdir()
        environment = dict(os.environ, TMPDIR=str(spool))
        program = subprocess.Popen(
            [PROGRAM, "list", "-"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, env=environment
        )
        try:
            program.stdin.write(self.capture.read_bytes())
            program.stdin.flush()
            held = self.wait_for_file_below(program.pid, spool)
            self.assertEqual(stat.S_IMODE(held.st_mode), 0o600)
            self.assertEqual(held.st_nlink, 0)
            self.assertEqual(list(spool.iterdir()), [])
            shown, _ = program.communicate(timeout=DEADLINE)
        finally:
            program.kill()
            program.wait()
            program.stdout.close()
        self.assertEqual(program.returncode, 0)
        self.assertIn(b"Corvane version 1.0", shown)

    def wait_for_file_below(self, process, folder):
        """-> what the system says of the file that the process has open there, once it has bytes"""
        end = time.monotonic() + DEADLINE
        while time.monotonic() < end:
            for descriptor in pathlib.Path(f"/proc/{process}/fd").iterdir():
                try:
                    if os.readlink(descriptor).startswith(f"{folder}/"):
                        found = os.stat(descriptor)
                        if found.st_nlink == 0 and found.st_size:
                            return found
                except FileNotFoundError:
                    continue  # closed in the meantime
            time.sleep(0.005)
        self.fail("no file of the process was seen")
