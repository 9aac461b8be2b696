"""What docs/wireshark.md tells a reader to type into Wireshark, tried with tshark on the demo's story."""

import pathlib
import re
import tempfile
import unittest

from sandbox import ROOT
from signalling_story import corvane, raw_stream, told_story
from wireshark import tshark

DOCUMENT = (ROOT / "docs" / "wireshark.md").read_text(encoding="utf-8")

# The story as it is told once.
PACKETS = 600


def below(heading):
    """What stands below a heading, up to the next one."""
    return re.search(rf"^{re.escape(heading)}\n(.*?)(?=^#|\Z)", DOCUMENT, re.DOTALL | re.MULTILINE)[1]


def filters(heading):
    """The last column of the table below a heading: names and filters in backquotes."""
    rows = [line for line in below(heading).splitlines() if line.startswith("|")]
    return [text for row in rows for text in re.findall("`([^`]+)`", row.split("|")[-2])]


def colour_rules():
    """-> [(name, filter)] of the file for Wireshark's colours"""
    lines = re.search(r"^```text\n(.*?)^```$", below("### Colours"), re.DOTALL | re.MULTILINE)[1]
    colour = r"\[\d{1,5},\d{1,5},\d{1,5}\]"
    return [re.fullmatch(f"@(.+?)@(.+)@{colour * 2}", line).groups() for line in lines.splitlines()]


def without_sets(text):
    """The filter with "a in {1, 2}" as "(a == 1 or a == 2)"."""

    def spelled_out(match):
        values = match[2].split(", ")
        return "(" + " or ".join(f"{match[1]} == {value}" for value in values) + ")"

    return re.sub(r"([^\s(]+) in {([^}]*)}", spelled_out, text)


class WiresharkDocument(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="corvane-wireshark-")
        cls.addClassCleanup(folder.cleanup)
        stream = pathlib.Path(folder.name) / "drive-COM7.hdlc"
        stream.write_bytes(raw_stream(told_story("--count", str(PACKETS), "--mix", "log=1")))
        capture, cls.export = stream.with_suffix(".isf"), stream.with_suffix(".pcapng")
        corvane("import", stream, "-o", capture)
        corvane("export", capture, "-o", cls.export)

    def frames_found(self, wanted):
        """-> for each display filter how many frames it finds"""
        # All of them as they stand: tshark refuses what it cannot read.
        tshark.run(["-r", str(self.export), "-c", "1", "-Y", " or ".join(f"({one})" for one in wanted)])
        # Here a comma is the end of a filter.
        statistics = ",".join(["io,stat,0", *map(without_sets, wanted)])
        printed = tshark.run(["-q", "-r", str(self.export), "-z", statistics])
        rows = [line.split("|") for line in printed.splitlines() if "<>" in line]
        self.assertEqual(len(rows), 1, printed)
        # Two columns an expression: frames and bytes.
        numbers = [int(cell) for cell in rows[0][2:-1] if cell.strip()]
        self.assertEqual(len(numbers), 2 * len(wanted), printed)
        return numbers[::2]

    def test_every_filter_finds_something_but_the_one_for_malformed(self):
        wanted = filters("## Filters")
        self.assertGreater(len(wanted), 20)
        found = dict(zip(wanted, self.frames_found(wanted)))
        self.assertEqual([text for text, count in found.items() if count == 0], ["_ws.malformed"])

    def test_the_filter_for_nas_of_all_technologies_finds_nas_alone(self):
        (row,) = re.findall(r"^\| NAS of all technologies \| `(.+)` \|$", DOCUMENT, re.MULTILINE)
        # GSM has both on the same channels.
        parts = ["nas-eps", "nas-5gs", "gsm_a.dtap.msg_mm_type", "gsm_a.dtap.msg_gmm_type"]
        radio = "gsm_a.dtap.msg_rr_type"
        found = self.frames_found([row, radio, f"({row}) and {radio}", *(f"({row}) and {part}" for part in parts)])
        self.assertGreater(found[1], 0)
        self.assertEqual(found[2], 0)
        self.assertNotIn(0, found[3:])

    def test_the_filters_for_ciphered_nas_take_both_header_types(self):
        rule = dict(colour_rules())["Ciphered NAS"]
        (row,) = re.findall(r"^\| ciphered NAS \| `(.+)` \|$", DOCUMENT, re.MULTILINE)
        self.assertEqual(row, rule)
        for field in ("nas_eps.security_header_type", "nas_5gs.security_header_type"):
            ciphered = [f"{field} == 2", f"{field} == 4"]
            found = self.frames_found([*ciphered, *(f"({row}) and {one}" for one in ciphered)])
            self.assertNotIn(0, found)
            self.assertEqual(found[:2], found[2:])

    def test_every_technology_is_found_by_its_filter(self):
        wanted = filters("## What is shown")
        self.assertEqual(len(wanted), 12)
        self.assertNotIn(0, self.frames_found(wanted))

    def test_every_colour_has_packets(self):
        rules = colour_rules()
        self.assertEqual(len(rules), 6)
        self.assertNotIn(0, self.frames_found([text for _, text in rules]))


if __name__ == "__main__":
    unittest.main()
