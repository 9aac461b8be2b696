"""corvane report: the page, looked at in a browser that has no network, and as a file."""

import base64
import html.parser
import json
import pathlib
import re
import struct
import subprocess
import tempfile
import unittest

import browser
import exported
import made_capture
from conversion_memory_test import peak_memory

START = 1_700_000_000_000  # milliseconds since 1970
UPLINK, DOWNLINK = "u", "d"

# LTE RRC messages (log 0xB0C0, version 2): channel number, message, name, direction, broadcast.
REPORT = (8, "08 00 b2 50", "Measurement report", UPLINK, False)
RELEASE = (6, "28 02", "RRC connection release", DOWNLINK, False)
PAGING = (4, "40 00 1c 01 23 45 60", "Paging", DOWNLINK, True)
SYSTEM_INFORMATION = (2, "00 00 00 00", "System information", DOWNLINK, True)

HOSTILE = "</script><script>alert(1)</script><img src=x onerror=alert(2)> \"'`&amp; \x07\x1b[31m\u202e"
BAD_UTF8 = b"\xff\xfe\xc3("


def rrc(message, cell=324):
    channel, data = message[0], bytes.fromhex(message[1])
    return struct.pack("<BBBBHHHBH", 2, 9, 0, 1, cell, 1825, 7, channel, len(data)) + data


def program(*arguments):
    return subprocess.run(
        [exported.program(), "report", *arguments],
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        timeout=exported.DEADLINE,
        check=False,
    )


class Drive:
    """A capture with something of everything that a page shows, and what that is."""

    def __init__(self):
        self.capture = made_capture.MadeCapture()
        self.now = START
        self.messages = []
        self.text("Corvane version 1.0")
        self.text("Port COM7 connected")
        self.request("1d")  # answered after 20 ms
        self.packet("1d 01 02 03 04 05 06 07 08", later=20)
        self.request("4b 0f 00 00")  # refused
        self.packet("13 4b 0f 00 00", later=5)
        self.request("29 01 00")  # without a reply
        for message in (SYSTEM_INFORMATION, PAGING, REPORT, RELEASE) * 30:
            self.message(message)
        self.now += 12_345  # a gap
        self.event(1606, b"\x04")
        self.text(HOSTILE)
        self.debug_message(HOSTILE.encode() + BAD_UTF8)
        self.text("Port COM7 disconnected")
        self.now -= 60_000  # a clock that was set back
        self.text("Port COM8 connected")
        self.message(RELEASE)

    def add(self, kind, packet, later=0):
        self.now += later
        return self.capture.add(kind, made_capture.item_time(self.now), packet)

    def text(self, text):
        self.add(made_capture.INFORMATION, made_capture.text_packet(text), later=10)

    def request(self, packet):
        kind = made_capture.SUBSYSTEM_REQUEST if packet.startswith("4b") else made_capture.REQUEST
        self.add(kind, bytes.fromhex(packet), later=10)

    def packet(self, packet, later):
        self.add(made_capture.PACKET, bytes.fromhex(packet), later)

    def message(self, message):
        self.now += 100
        stamp = made_capture.diag_stamp(self.now // 5 * 5)
        packet = made_capture.log_packet(0xB0C0, rrc(message), stamp)
        self.messages.append((self.add(made_capture.LOG, packet), message))

    def event(self, number, payload):
        stamp = made_capture.diag_stamp(self.now // 5 * 5)
        word = number | len(payload) << 13
        body = struct.pack("<HQ", word, stamp) + payload
        self.add(made_capture.EVENT, struct.pack("<BH", 0x60, len(body)) + body, later=10)

    def debug_message(self, text):
        # 0x79: type, arguments, lost messages, time, line, SSID, level; text and file name.
        stamp = made_capture.diag_stamp(self.now // 5 * 5)
        head = struct.pack("<BBBBQHHI", 0x79, 0, 0, 3, stamp, 12, 5, 2)
        self.add(made_capture.MESSAGE, head + text + b"\0file.c\0", later=10)


class Page(html.parser.HTMLParser):
    """What a reader of the file sees without scripts."""

    def __init__(self, text):
        super().__init__()
        self.tags, self.captions, self.rows = [], [], []
        self._text, self._in = None, None
        self.scripts = []
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        self.tags.append((tag, dict(attributes)))
        if tag == "tr":
            self.rows.append([])
        elif tag in ("td", "th") and self.rows:
            self.rows[-1].append("")
        elif tag == "caption":
            self.captions.append("")
        elif tag == "script":
            self.scripts.append("")
        self._in = tag if tag in ("td", "th", "caption", "script") else self._in

    def handle_data(self, data):
        if self._in in ("td", "th") and self.rows and self.rows[-1]:
            self.rows[-1][-1] += data.strip("\n")
        elif self._in == "caption":
            self.captions[-1] += data
        elif self._in == "script":
            self.scripts[-1] += data

    def handle_endtag(self, tag):
        if tag in ("caption", "script", "table", "th"):
            self._in = None


class Report(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="corvane-report-")
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)
        cls.drive = Drive()
        cls.path = cls.folder / "drive <b>&amp;.isf"
        cls.path.write_bytes(cls.drive.capture.closed())
        marked = made_capture.item_time(START + 3000)
        cls.mark = f"here </script> {HOSTILE}".replace("\x07", " ").replace("\x1b", " ")
        utc = "2023-11-14T22:13:23.000Z"
        assert marked == made_capture.item_time(1_700_000_003_000)
        pathlib.Path(f"{cls.path}.marks").write_bytes(f"{utc} {cls.mark} ".encode() + BAD_UTF8 + b"\n")
        cls.output = cls.folder / "drive.html"
        cls.result = program(cls.path, "-o", cls.output)
        cls.html = cls.output.read_text(encoding="utf-8")
        cls.page = Page(cls.html)

    def rows_with(self, text):
        return [row for row in self.page.rows if any(text in cell for cell in row)]

    # --- The file

    def test_a_complete_capture_gives_a_page_and_nothing_else(self):
        self.assertEqual((0, b"", b""), (self.result.returncode, self.result.stdout, self.result.stderr))
        left = sorted(path.name for path in self.folder.iterdir() if path.name.startswith("drive.html"))
        self.assertEqual(["drive.html"], left)

    def test_the_same_capture_gives_the_same_bytes(self):
        again = self.folder / "again.html"
        self.assertEqual(0, program(self.path, "-o", again).returncode)
        self.assertEqual(self.output.read_bytes(), again.read_bytes())

    def test_nothing_is_loaded_from_elsewhere(self):
        for tag, attributes in self.page.tags:
            for name in ("src", "href", "action", "srcset", "data", "poster"):
                value = attributes.get(name)
                self.assertTrue(value is None or value.startswith(("#", "data:,")), (tag, value))
            self.assertFalse([name for name in attributes if name.startswith("on") or name == "style"])
        policy = next(a["content"] for t, a in self.page.tags if a.get("http-equiv") == "Content-Security-Policy")
        self.assertTrue(policy.startswith("default-src 'none';"), policy)
        self.assertNotIn("unsafe", policy)
        self.assertNotIn("@import", self.html)
        self.assertNotIn("url(", self.html)

    def test_hostile_texts_stay_texts(self):
        self.assertEqual(3, len(self.page.scripts))
        self.assertEqual([], [tag for tag, _ in self.page.tags if tag in ("b", "img")])
        json.loads(self.page.scripts[0])
        self.assertFalse(re.search(r"[\x00-\x09\x0b-\x1f\x7f]", self.html))
        shown = [row[-1] for row in self.rows_with("alert(1)")]
        self.assertTrue(any("\\x07\\x1B[31m" in text for text in shown), shown)

    def test_tables_tell_without_scripts(self):
        for caption in ("Items by type", "Connections", "Log codes", "Events", "Refused requests"):
            self.assertTrue(any(each.startswith(caption) for each in self.page.captions), caption)
        for wrong in ("gap of more than 5 s", "request refused", "request without a reply",
                      "clock set back", "connection lost"):
            self.assertEqual(1, len(self.rows_with(wrong)), wrong)
        self.assertEqual(1, len(self.rows_with("1606 ")))
        self.assertTrue(self.rows_with("PCI 324 EARFCN 1825"))

    def test_each_message_is_a_rung_with_its_direction(self):
        arrows = {UPLINK: "→ up", DOWNLINK: "← down"}
        rungs = {int(row[1]): row for row in self.page.rows if len(row) == 7 and row[3] == "LTE"}
        self.assertEqual([number for number, _ in self.drive.messages], sorted(rungs))
        for number, message in self.drive.messages:
            self.assertEqual(arrows[message[3]], rungs[number][2])
            self.assertTrue(rungs[number][5].startswith(message[2]), rungs[number])

    def test_markers_stand_in_the_ladder_and_on_the_time_line(self):
        self.assertEqual(1, len(self.rows_with("Marker: here </script>")))
        lanes = {lane["name"]: lane["entries"] for lane in json.loads(self.page.scripts[0])["lanes"]}
        self.assertEqual([START + 3000], [entry[0] for entry in lanes["Markers"]])
        self.assertEqual(2, len(lanes["Connections"]))
        self.assertEqual(1, len(lanes["Answered"]))
        self.assertEqual(2, len(lanes["Failed"]))

    # --- What may go wrong

    def test_an_existing_page_stays_unless_it_may_be_replaced(self):
        there = self.folder / "there.html"
        there.write_text("mine")
        refused = program(self.path, "-o", there)
        self.assertEqual((1, "mine"), (refused.returncode, there.read_text()))
        self.assertIn(b"--overwrite replaces it", refused.stderr)
        self.assertEqual(0, program(self.path, "-o", there, "--overwrite").returncode)
        self.assertEqual(self.html, there.read_text(encoding="utf-8"))

    def test_a_damaged_capture_gets_a_page_all_the_same(self):
        damaged = bytearray(self.drive.capture.closed())
        damaged[4 + 7 * 5] = 0x1F  # the type of item 5
        path, output = self.folder / "bad.isf", self.folder / "bad.html"
        path.write_bytes(damaged)
        result = program(path, "-o", output)
        self.assertEqual(1, result.returncode)
        page = output.read_text(encoding="utf-8")
        self.assertIn('class="verdict bad"', page)
        self.assertIn("damage of the file", page)
        self.assertIn("; the rule: ", page)

    def test_an_unclosed_capture_is_told_as_such(self):
        path, output = self.folder / "open.isf", self.folder / "open.html"
        path.write_bytes(self.drive.capture.unclosed())
        self.assertEqual(3, program(path, "-o", output).returncode)
        self.assertIn("The file was not closed", output.read_text(encoding="utf-8"))

    def test_long_texts_are_cut_in_charts_too(self):
        drive = Drive()
        for number in range(50):
            drive.text(f"Port {number:02}{'x' * 7_000} connected")
        path, output = self.folder / "long.isf", self.folder / "long.html"
        path.write_bytes(drive.capture.closed())
        self.assertEqual(0, program(path, "-o", output).returncode)
        page = output.read_text(encoding="utf-8")
        self.assertIn(f"49{'x' * 298}...", page)
        self.assertNotIn("x" * 301, page)

    def test_ten_sources_are_named_and_others_are_not(self):
        for count in (10, 11):
            capture = made_capture.MadeCapture()
            for number in range(count):
                capture.add_text(f"Port COM{number} connected", made_capture.item_time(START + number))
            path, output = self.folder / f"{count}.isf", self.folder / f"{count}.html"
            path.write_bytes(capture.closed())
            self.assertEqual(0, program(path, "-o", output).returncode)
            page = output.read_text(encoding="utf-8")
            self.assertIn(", COM8, COM9" + (" and others" if count > 10 else "<"), page)

    def test_what_is_no_capture_leaves_no_page(self):
        path, output = self.folder / "none.isf", self.folder / "none.html"
        path.write_bytes(b"no capture")
        self.assertEqual(1, program(path, "-o", output).returncode)
        self.assertFalse(output.exists())

    def test_a_page_needs_a_name(self):
        for name in ("-", ""):
            result = program(self.path, "-o", name)
            self.assertEqual(2, result.returncode, result.stderr)
        self.assertFalse(pathlib.Path("-").exists())

    def test_the_capture_is_not_overwritten_by_its_page(self):
        before = self.path.read_bytes()
        result = program(self.path, "-o", self.path, "--overwrite")
        self.assertEqual(1, result.returncode)
        self.assertIn(b"the page would overwrite the capture", result.stderr)
        self.assertEqual(before, self.path.read_bytes())

    def test_a_page_that_cannot_be_written_is_no_success(self):
        result = program(self.path, "-o", "/dev/full")
        self.assertEqual(1, result.returncode)
        self.assertIn(b"No space left on device", result.stderr)

    def test_a_selection_narrows_the_whole_page(self):
        output = self.folder / "narrow.html"
        self.assertEqual(0, program(self.path, "-o", output, "--type", "log", "--from", "10", "--to", "19").returncode)
        page = Page(output.read_text(encoding="utf-8"))
        rungs = [row for row in page.rows if len(row) == 7 and row[3] == "LTE"]
        wanted = [number for number, _ in self.drive.messages if 10 <= number <= 19]
        self.assertEqual(wanted, [int(row[1]) for row in rungs])
        self.assertIn("--type log --from 10 --to 19", output.read_text(encoding="utf-8"))
        self.assertFalse([row for row in page.rows if any("Marker: " in cell for cell in row)])
        # The connection began in front of the selection, and its requests may have lost their replies.
        self.assertIn("COM7", [row[0] for row in page.rows if len(row) == 7])
        self.assertIn("the selection may leave out the replies", output.read_text(encoding="utf-8"))

    def test_a_selection_of_nothing_says_so(self):
        result = program(self.path, "-o", self.folder / "nothing.html", "--log-code", "0x1FFF")
        self.assertEqual(0, result.returncode)
        self.assertNotEqual(b"", result.stderr)

    # --- The page in a browser

    def test_in_a_browser(self):
        with browser.Browser() as page:
            self.look(page, width=1280, theme="light")
            self.check_filter(page)
            self.check_theme(page)
            self.look(page, width=360, theme="dark")
            self.assertEqual(360, page.value_of("document.documentElement.scrollWidth"))
            self.assertEqual(2, page.value_of("document.querySelectorAll('.uplot canvas').length"))
            self.check_odd_captures(page)
            self.check_bars(page)
            pdf = base64.b64decode(page.command("Page.printToPDF", printBackground=True)["data"])
            self.assertTrue(pdf.startswith(b"%PDF-") and len(pdf) > 20_000, len(pdf))
            self.assertEqual([], page.complaints())

    def look(self, page, width, theme):
        page.command("Emulation.setDeviceMetricsOverride", width=width, height=800, deviceScaleFactor=1, mobile=False)
        page.command("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": theme}])
        page.open(self.output)
        page.value_of("new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done)))")
        self.assertEqual([], page.complaints())
        self.assertEqual([self.output.as_uri()], [url for url in page.requests() if not url.startswith("data:")])
        background = page.value_of("getComputedStyle(document.body).backgroundColor")
        self.assertEqual("rgb(255, 255, 255)" if theme == "light" else "rgb(20, 24, 29)", background)

    def check_odd_captures(self, page):
        """No items; a single moment; times that no calendar has."""
        for name, times in (("none", ()), ("moment", (START, START)), ("far", (START, 2**62, 2**62 + 9))):
            capture = made_capture.MadeCapture()
            for time in times:
                capture.add_text("Port COM7 connected", made_capture.item_time(time))
            path, output = self.folder / f"odd-{name}.isf", self.folder / f"odd-{name}.html"
            path.write_bytes(capture.closed())
            program(path, "-o", output)
            page.open(output)
            self.assertEqual(2 if times else 0, page.value_of("document.querySelectorAll('.uplot').length"))
            self.assertEqual([], page.complaints(), name)

    def check_bars(self, page):
        """Two connections 75 s apart, and between them two markers: each lane ends its own bars, whatever
        the others have in between."""
        drive = Drive.__new__(Drive)
        drive.capture, drive.now = made_capture.MadeCapture(), START
        for _ in range(2):
            drive.text("Port COM7 connected")
            drive.request("1d")
            drive.packet("1d 01 02 03 04 05 06 07 08", later=5000)
            drive.text("Port COM7 disconnected")
            drive.now += 75_000
        path, output = self.folder / "bars.isf", self.folder / "bars.html"
        path.write_bytes(drive.capture.closed())
        markers = "2023-11-14T22:14:00.000Z one\n2023-11-14T22:14:01.000Z two\n"  # START and 40 s
        pathlib.Path(f"{path}.marks").write_text(markers)
        self.assertEqual(0, program(path, "-o", output).returncode)
        page.command("Emulation.setDeviceMetricsOverride", width=1280, height=800, deviceScaleFactor=1, mobile=False)
        page.open(output)
        page.value_of("new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done)))")
        data = json.loads(Page(output.read_text(encoding="utf-8")).scripts[0])
        (stretch,) = data["stretches"]
        length = len(stretch["counts"][0]) * stretch["width"]

        # A copy, for the browser complains of a canvas that is read pixel by pixel.
        page.value_of(
            "{ const shown = document.querySelector('#lanes canvas'), copy = document.createElement('canvas');"
            "[copy.width, copy.height] = [shown.width, shown.height];"
            "globalThis.pixels = copy.getContext('2d', { willReadFrequently: true });"
            "pixels.drawImage(shown, 0, 0); }"
        )

        def colour(lane, seconds):
            """of the chart, as much later than START"""
            across = (START + 1000 * seconds - stretch["start"]) / length
            down = (lane + 0.6) / (len(data["lanes"]) + 0.2)
            return page.value_of(
                "{ const area = document.querySelector('#lanes .u-over');"
                f"const x = Math.round(area.offsetLeft + area.offsetWidth * {across});"
                f"const y = Math.round(area.offsetTop + area.offsetHeight * {down});"
                "pixels.getImageData(x, y, 1, 1).data.join(); }"
            )

        names = [lane["name"] for lane in data["lanes"]]
        for name, bars, empty in (
            ("Connections", (2.5, 82.5), (20, 40.5, 60)),
            ("Answered", (2.5, 82.5), (20, 40.5, 60)),
            ("Markers", (40, 41), (20, 40.5, 60)),
        ):
            lane = names.index(name)
            (bar,) = {colour(lane, seconds) for seconds in bars}
            for seconds in empty:
                self.assertNotEqual(bar, colour(lane, seconds), (name, seconds))

    def check_filter(self, page):
        def shown(text, link="", broadcast=True):
            page.value_of(
                "{ const set = (id, value) => { document.getElementById(id).value = value; };"
                f"set('filter-text', {json.dumps(text)}); set('filter-link', {json.dumps(link)});"
                f"const box = document.getElementById('filter-broadcast'); box.checked = {json.dumps(broadcast)};"
                "box.dispatchEvent(new Event('input')); }"
            )
            told = page.value_of("document.getElementById('filter-count').textContent")
            rows = page.value_of(
                "[...document.querySelectorAll('#ladder tbody tr')]"
                ".filter((row) => row.getClientRects().length > 0).length"
            )
            self.assertEqual(f"{rows:,} of", told[: len(f"{rows:,} of")])
            return rows

        def count(wanted):
            return sum(1 for _, message in self.drive.messages if wanted(message))

        self.assertGreater(shown(""), len(self.drive.messages))
        self.assertEqual(count(lambda m: m[2] == "RRC connection release"), shown("connection RELEASE"))
        self.assertEqual(count(lambda m: m[3] == UPLINK), shown("", link="u"))
        self.assertEqual(count(lambda m: not m[4]), shown("pci 324", broadcast=False))
        self.assertEqual(count(lambda m: m[2] == "Paging"), shown("paging", link="d"))
        self.assertEqual(1, shown("marker: here"))
        self.assertEqual(0, shown("no such message"))

    def check_theme(self, page):
        page.value_of("document.getElementById('theme').click()")
        self.assertEqual("rgb(20, 24, 29)", page.value_of("getComputedStyle(document.body).backgroundColor"))
        page.value_of("document.getElementById('theme').click()")


class Size(unittest.TestCase):
    """A page stays small, and its making takes no more memory, however large the capture is."""

    MOST = 2_000_000

    def capture_of(self, folder, items):
        """Signalling alone, of many cells: nothing makes a larger page."""
        capture = made_capture.MadeCapture()
        stamp = made_capture.diag_stamp(START)
        for number in range(items):
            message = (REPORT, SYSTEM_INFORMATION, RELEASE)[number % 3]
            packet = made_capture.log_packet(0xB0C0, rrc(message, cell=number % 2000), stamp)
            time = made_capture.item_time(START + 6000 * number)
            capture.add(made_capture.LOG, time, packet)
        path = pathlib.Path(folder) / f"{items}.isf"
        path.write_bytes(capture.closed())
        return path

    def test_of_a_page_and_of_the_memory_it_takes(self):
        with tempfile.TemporaryDirectory(prefix="corvane-report-") as folder:
            peaks = []
            for items in (16_000, 48_000):
                path = self.capture_of(folder, items)
                page = path.with_suffix(".html")
                peaks.append(peak_memory(exported.program(), "report", path, "-o", page))
                self.assertLess(page.stat().st_size, self.MOST)
            text = page.read_text(encoding="utf-8")
            self.assertEqual(5000, sum(text.count(f'<tr class="{link}">') for link in "ud"))
            self.assertIn("5,000 of 48,000 messages", text)
            self.assertIn("16,000 of broadcast channels and 27,000 others", text)
            self.assertLess(peaks[1] - peaks[0], 4096, peaks)


if __name__ == "__main__":
    unittest.main()
