"""corvane stats, held against tallies of the tests' own."""

import collections
import csv
import datetime
import io
import json
import os
import pathlib
import random
import struct
import subprocess
import tempfile
import unittest

import made_capture

# Only a program that hangs ever takes this long.
DEADLINE = 60.0

# 2024-05-17 12:00:00 UTC, in milliseconds since 1601.
START = made_capture.item_time(1_715_947_200_000)


def text_of(time):
    """As FormatUtc of the reader has it."""
    since = datetime.timedelta(milliseconds=time)
    moment = datetime.datetime(1601, 1, 1) + since
    return moment.isoformat(timespec="milliseconds") + "Z"


def stats(capture, *options):
    """-> what it wrote to standard output, its exit code, and its messages"""
    with tempfile.TemporaryDirectory(prefix="corvane-stats-") as folder:
        path = pathlib.Path(folder) / "drive.isf"
        path.write_bytes(capture)
        ended = subprocess.run(
            [pathlib.Path(os.environ["CORVANE_PROGRAMS"]) / "corvane", "stats", path, *options],
            stdin=subprocess.DEVNULL,
            capture_output=True,
            timeout=DEADLINE,
            check=False,
        )
    messages = ended.stderr.decode("utf-8").replace(str(path), "drive.isf")
    return ended.stdout.decode("utf-8"), ended.returncode, messages


def good_stats(capture, *options):
    output, code, messages = stats(capture, *options)
    assert code == 0 and messages == "", messages
    return output


def json_stats(capture, *options):
    return json.loads(good_stats(capture, "--json", *options))


def rows_of(table):
    return list(csv.DictReader(io.StringIO(table, newline="")))


def event_packet(event):
    return struct.pack("<BHHQ", 0x60, 10, event, 0)


def message_packet(ssid, levels):
    return struct.pack("<BBBBQHHI", 0x79, 0, 0, 0, 0, 1, ssid, levels) + b"text\0file.c\0"


class Tally:
    """What a table should say of one key."""

    def __init__(self):
        self.times, self.bytes = [], 0

    def add(self, time, size):
        self.times.append(time)
        self.bytes += size

    def row(self, span):
        def rate(number):
            return round(number * 1000 / span, 3)

        return {
            "items": len(self.times),
            "bytes": self.bytes,
            "items_per_second": rate(len(self.times)),
            "bytes_per_second": rate(self.bytes),
            "first": text_of(min(self.times)),
            "last": text_of(max(self.times)),
        }


class Drive:
    """A capture of random items, and what is in it."""

    def __init__(self, items):
        numbers = random.Random(4)
        self.capture = made_capture.MadeCapture()
        self.tallies = collections.defaultdict(Tally)
        self.intervals = collections.defaultdict(lambda: [0, 0])
        self.times = []
        for number in range(items):
            # A pause now and then, none longer than a gap.
            time = START + number * 7 + numbers.randrange(5)
            self._add_one(numbers, time)
        self.span = max(self.times) - min(self.times)

    def _add_one(self, numbers, time):
        sort = numbers.randrange(5)
        if sort == 0:
            code = numbers.choice((0xB0C0, 0xB0E2, 0x1234))
            packet = made_capture.log_packet(code, bytes(numbers.randrange(40)), 0)
            self._add(made_capture.LOG, time, packet, ("log_codes", f"0x{code:04X}"))
        elif sort == 1:
            event = numbers.choice((1606, 77))
            self._add(made_capture.EVENT, time, event_packet(event), ("events", event))
        elif sort == 2:
            ssid, levels = numbers.choice(((5, 1), (5, 8), (9500, 2)))
            level = levels.bit_length() - 1
            packet = message_packet(ssid, levels)
            self._add(made_capture.MESSAGE, time, packet, ("subsystems", ssid), ("levels", level))
        elif sort == 3:
            self._add(made_capture.PACKET, time, bytes((0x1D, 1, 2)), ("replies", "0x1D"))
        else:
            packet = bytes((0x4B, 0x08, 1, 0, 7))
            self._add(made_capture.SUBSYSTEM, time, packet, ("replies", "0x4B 0x08 0x0001"))

    def _add(self, kind, time, packet, *keys):
        self.capture.add(kind, time, packet)
        self.times.append(time)
        for key in (("all", None), ("types", kind), *keys):
            self.tallies[key].add(time, len(packet))
        interval = self.intervals[(time - self.times[0]) // 1000]
        interval[0] += 1
        interval[1] += len(packet)

    def table(self, name):
        return {
            key: tally.row(self.span)
            for (table, key), tally in self.tallies.items()
            if table == name
        }


class Tables(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.drive = Drive(9000)

    def test_every_table_counts_what_is_there(self):
        told = json_stats(self.drive.capture.closed())
        keys = {
            "types": "type",
            "log_codes": "log_code",
            "events": "event",
            "subsystems": "ssid",
            "levels": "level",
            "replies": "command",
        }
        for table, key in keys.items():
            found = {row.pop(key): row for row in told[table]}
            for row in found.values():
                row.pop("name")
            self.assertEqual(found, self.drive.table(table), table)
        (whole,) = self.drive.table("all").values()
        self.assertEqual({name: told[name] for name in whole}, whole)
        self.assertEqual(told["span_seconds"], self.drive.span / 1000)
        self.assertEqual(told["file_items"], 9000)
        self.assertEqual(told["state"], "complete")

    def test_names_are_the_fields(self):
        told = json_stats(self.drive.capture.closed())
        names = {row["log_code"]: row["name"] for row in told["log_codes"]}
        self.assertEqual(names["0xB0C0"], "LTE RRC OTA message")
        self.assertEqual(names["0x1234"], "")
        self.assertEqual({row["type"]: row["name"] for row in told["types"]}[5], "log")
        self.assertEqual([row["name"] for row in told["levels"]], ["low", "medium", "error"])
        self.assertIn("subsystem 0x08 command 0x0001", [row["name"] for row in told["replies"]])

    def test_the_flat_table_says_the_same(self):
        rows = rows_of(good_stats(self.drive.capture.closed(), "--csv"))
        logs = self.drive.table("log_codes")
        found = {row["key"]: row for row in rows if row["kind"] == "log-code"}
        self.assertEqual(sorted(found), sorted(logs))
        for key, row in found.items():
            self.assertEqual(int(row["items"]), logs[key]["items"])
            self.assertEqual(int(row["bytes"]), logs[key]["bytes"])
            self.assertAlmostEqual(float(row["items_per_second"]), logs[key]["items_per_second"], 3)
            self.assertEqual(row["last"], logs[key]["last"])
        self.assertEqual([row["kind"] for row in rows[:3]], ["all", "type", "type"])

    def test_the_table_over_time_has_every_interval(self):
        capture = self.drive.capture.closed()
        rows = rows_of(good_stats(capture, "--csv", "--interval", "1s"))
        self.assertEqual(len(rows), max(self.drive.intervals) + 1)
        for number, row in enumerate(rows):
            self.assertEqual(row["start"], text_of(self.drive.times[0] + number * 1000))
            self.assertEqual([int(row["items"]), int(row["bytes"])], self.drive.intervals[number])
            types = list(row.values())[5:]
            self.assertEqual(sum(map(int, types)), int(row["items"]))
        told = json_stats(capture, "--interval", "1s")
        self.assertEqual(
            [row["items"] for row in told["intervals"]], [int(row["items"]) for row in rows]
        )
        self.assertEqual(told["interval_seconds"], 1)

    def test_the_most_frequent_rows_come_first(self):
        told = json_stats(self.drive.capture.closed(), "--top", "1")
        logs = self.drive.table("log_codes")
        most = max(logs, key=lambda code: logs[code]["items"])
        self.assertEqual([row["log_code"] for row in told["log_codes"]], [most])
        others = sum(row["items"] for code, row in logs.items() if code != most)
        self.assertEqual(told["other_log_codes"]["items"], others)

    def test_a_selection_narrows_what_is_counted(self):
        told = json_stats(self.drive.capture.closed(), "--log-code", "0xB0C0")
        self.assertEqual(told["items"], self.drive.table("log_codes")["0xB0C0"]["items"])
        self.assertEqual([row["log_code"] for row in told["log_codes"]], ["0xB0C0"])
        self.assertNotIn("events", told)
        self.assertNotIn("requests", told)

    def test_text_has_a_line_for_every_row(self):
        lines = good_stats(self.drive.capture.closed()).splitlines()
        logs = self.drive.table("log_codes")
        (line,) = [line for line in lines if line.startswith("0xB0C0 ")]
        self.assertIn("LTE RRC OTA message", line)
        row = logs["0xB0C0"]
        self.assertEqual(line.split()[5:7], [f"{row['items']:,}", f"{row['bytes']:,}"])


def two_connections():
    """Requests of two connections, a gap of 8 s with the port away, and a clock set back."""
    capture = made_capture.MadeCapture()
    capture.add_text("Corvane version 1.0", START)
    capture.add_text("Port COM7 connected", START + 100)
    capture.add(made_capture.REQUEST, START + 110, b"\x1d")
    capture.add(made_capture.PACKET, START + 130, b"\x1d\1\2\3\4\5\6\7\x08")
    capture.add(made_capture.SUBSYSTEM_REQUEST, START + 130, b"\x4b\x0f\0\0")
    capture.add(made_capture.PACKET, START + 135, b"\x13\x4b\x0f\0\0")
    capture.add(made_capture.REQUEST, START + 140, b"\x7c")
    capture.add_text("Port COM7 disconnected", START + 3000)
    capture.add_text("Port COM7 connected", START + 8000)
    capture.add(made_capture.REQUEST, START + 8140, b"\x1d")
    capture.add(made_capture.PACKET, START + 8180, b"\x1d\1\2\3\4\5\6\7\x08")
    capture.add_log(0xB0C0, b"", START + 8000, 0)
    return capture


class Connections(unittest.TestCase):
    def test_gaps_connections_and_requests_are_told(self):
        told = json_stats(two_connections().closed())
        self.assertEqual(
            told["gaps"],
            {
                "longer_than_seconds": 5,
                "count": 1,
                "seconds": 8,
                "longest_seconds": 8,
                "list": [
                    {
                        "item_before": 6,
                        "item_after": 9,
                        "start": text_of(START + 140),
                        "end": text_of(START + 8140),
                        "seconds": 8,
                        "connection_change": True,
                    }
                ],
            },
        )
        self.assertEqual(
            told["clock_set_back"]["list"],
            [
                {
                    "item_before": 10,
                    "item_after": 11,
                    "from": text_of(START + 8180),
                    "to": text_of(START + 8000),
                }
            ],
        )
        first, second = told["connections"]
        self.assertEqual(
            first,
            {
                "connection": 1,
                "merged_from": "",
                "port": "COM7",
                "begins_before_file": False,
                "subscriptions": [],
                "first_item": 1,
                "last_item": 7,
                "start": text_of(START + 100),
                "end": text_of(START + 3000),
                "seconds": 2.9,
                "items": 7,
                "ended": "disconnected",
            },
        )
        self.assertEqual((second["first_item"], second["items"], second["ended"]), (8, 4, "open"))
        requests = told["requests"]
        self.assertEqual(
            [requests[name] for name in ("sent", "answered", "refused", "unanswered")], [4, 2, 1, 1]
        )
        by_name = {row.pop("name"): row for row in requests["by_name"]}
        self.assertEqual(
            by_name["time stamp"],
            {
                "sent": 2,
                "answered": 2,
                "refused": 0,
                "unanswered": 0,
                "reply_milliseconds": {
                    "least": 20,
                    "median": 21,
                    "percentile_95": 40,
                    "greatest": 40,
                },
            },
        )
        self.assertEqual(
            requests["unanswered_list"],
            [{"item": 6, "time": text_of(START + 140), "connection": 1, "name": "build ID"}],
        )
        self.assertEqual(
            requests["refused_list"],
            [
                {
                    "item": 4,
                    "time": text_of(START + 130),
                    "connection": 1,
                    "name": "subsystem 0x0F command 0x0000",
                    "refusal": "bad command",
                    "reply_item": 5,
                    "reply_milliseconds": 5,
                }
            ],
        )

    def test_a_longer_limit_leaves_gaps_out(self):
        for limit, count in (("8s", 0), ("7999ms", 1)):
            told = json_stats(two_connections().closed(), "--gap", limit)
            self.assertEqual(told["gaps"]["count"], count)

    def test_text_tells_them_too(self):
        text = good_stats(two_connections().closed())
        connection = '1 2024-05-17T12:00:00.100Z  0:00:02.900  7 items  port "COM7"  disconnected'
        self.assertIn(connection, text)
        self.assertIn("Gaps of more than 5.000 s: 1, together 0:00:08.000", text)
        self.assertIn("Requests: 4 sent, 2 answered, 1 refused, 1 without a reply", text)
        self.assertIn("subsystem 0x0F command 0x0000: bad command", text)

    def test_a_stretch_of_the_capture_is_counted_alone(self):
        told = json_stats(two_connections().closed(), "--from", "8")
        self.assertEqual(told["items"], 4)
        self.assertEqual([row["connection"] for row in told["connections"]], [2])
        self.assertEqual(told["requests"]["sent"], 1)
        self.assertEqual(told["requests"]["answered"], 1)


class FlatTable(unittest.TestCase):
    """The CSV tells what JSON and text tell, and what it has no rows for."""

    def test_requests_have_counts_and_reply_times_by_name(self):
        rows = rows_of(good_stats(two_connections().closed(), "--csv"))
        counts = ("items", "answered", "refused", "unanswered")
        trips = ("least_ms", "median_ms", "percentile_95_ms", "greatest_ms")
        named = {row["name"]: row for row in rows if row["kind"] == "request-reply"}
        stamp, build = named["time stamp"], named["build ID"]
        self.assertEqual([stamp[name] for name in counts], ["2", "2", "0", "0"])
        self.assertEqual([stamp[name] for name in trips], ["20", "21", "40", "40"])
        self.assertEqual([stamp["first"], stamp["last"]], [text_of(START + 110), text_of(START + 8140)])
        self.assertEqual([build[name] for name in counts], ["1", "0", "0", "1"])
        self.assertEqual([build[name] for name in trips], [""] * 4)
        (whole,) = [row for row in rows if row["kind"] == "request-reply-all"]
        self.assertEqual([whole[name] for name in counts], ["4", "2", "1", "1"])
        self.assertEqual([whole["least_ms"], whole["greatest_ms"]], ["5", "40"])

    def test_what_has_no_row_of_its_own_is_counted(self):
        capture = made_capture.MadeCapture()
        items = 50_010
        for number in range(items):
            kind = made_capture.REQUEST if number < 10_006 else made_capture.LOG
            capture.add(kind, START + number * 2, b"\x7c" if number < 10_006 else b"\x10")
        rows = rows_of(good_stats(capture.closed(), "--csv", "--gap", "1ms"))
        for kind, listed, more in (("gap", 1000, items - 1001), ("unanswered", 10_000, 6)):
            found = [row for row in rows if row["kind"] == kind]
            self.assertEqual(len(found), listed + 1)
            self.assertEqual([found[-1]["name"], found[-1]["items"]], ["others", str(more)])
        rows = rows_of(good_stats(capture.closed(), "--csv", "--interval", "1ms"))
        self.assertEqual(sum(int(row["items"]) for row in rows), items)
        last = rows[-1]
        self.assertEqual([last["start"], last["items"], last["bytes"]], ["others", "10", "10"])
        self.assertEqual([last["items_per_second"], last["log"]], ["", "10"])


class Ends(unittest.TestCase):
    def test_an_empty_capture_has_nothing_to_count(self):
        # Nothing but the header: not closed.
        output, code, messages = stats(struct.pack("<I", made_capture.HEADER), "--json")
        self.assertEqual(code, 3, messages)
        told = json.loads(output)
        self.assertEqual((told["items"], told["first"], told["items_per_second"]), (0, None, None))
        self.assertEqual(stats(struct.pack("<I", made_capture.HEADER))[1], 3)

    def test_one_item_has_no_rate(self):
        capture = made_capture.MadeCapture()
        capture.add_log(0xB0C0, b"", START, 0)
        told = json_stats(capture.closed())
        self.assertEqual((told["items"], told["items_per_second"]), (1, None))
        self.assertEqual(told["first"], told["last"])
        rows = rows_of(good_stats(capture.closed(), "--csv", "--interval", "10s"))
        self.assertEqual(len(rows), 1)
        self.assertEqual(rows[0]["log"], "1")

    def test_a_capture_that_is_not_closed_says_so(self):
        output, code, messages = stats(two_connections().unclosed(), "--json")
        self.assertEqual(code, 3)
        self.assertEqual(json.loads(output)["items"], 12)
        self.assertIn("was not closed", messages)

    def test_what_is_no_capture_is_refused(self):
        output, code, messages = stats(b"none")
        self.assertEqual((output, code), ("", 1))
        self.assertTrue(messages.startswith("corvane stats: drive.isf: "), messages)

    def test_a_selection_without_items_says_so(self):
        capture = two_connections().closed()
        output, code, messages = stats(capture, "--log-code", "0x1111", "--json")
        self.assertEqual(code, 0)
        self.assertEqual(json.loads(output)["items"], 0)
        self.assertNotEqual(messages, "")

    def test_lengths_of_time_that_make_no_sense_are_wrong_usage(self):
        for option in ("--interval", "--gap"):
            for value in ("0", "soon", "-5s", "0s"):
                with self.subTest(option=option, value=value):
                    output, code, messages = stats(two_connections().closed(), f"{option}={value}")
                    self.assertEqual((output, code), ("", 2), messages)
        _, code, messages = stats(two_connections().closed(), "--interval", "100000h")
        self.assertEqual(code, 2)
        self.assertIn("no length of time from 1ms to 1000h", messages)
        self.assertEqual(stats(two_connections().closed(), "--json", "--csv")[1], 2)

    def test_numbers_of_rows_that_make_no_sense_are_wrong_usage(self):
        for value in ("-1", "0", "+1", "1.5", "99999999999999999999", "x", ""):
            with self.subTest(value=value):
                output, code, messages = stats(two_connections().closed(), f"--top={value}")
                self.assertEqual((output, code), ("", 2), messages)


if __name__ == "__main__":
    unittest.main()
