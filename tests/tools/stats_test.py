"""corvane stats, held against tallies of the tests' own."""

import collections
import json
import random
import struct
import unittest

import made_capture
from stats_run import START, good_stats, json_stats, rows_of, stats, text_of, two_connections


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
        self.assertEqual((told["events"], told["requests"]), ([], {}))

    def test_text_has_a_line_for_every_row(self):
        lines = good_stats(self.drive.capture.closed()).splitlines()
        logs = self.drive.table("log_codes")
        (line,) = [line for line in lines if line.startswith("0xB0C0 ")]
        self.assertIn("LTE RRC OTA message", line)
        row = logs["0xB0C0"]
        self.assertEqual(line.split()[5:7], [f"{row['items']:,}", f"{row['bytes']:,}"])


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
        told = json.loads(output)
        self.assertEqual(told["items"], 0)
        tables = "types log_codes events subsystems levels requests_sent replies packets".split()
        self.assertEqual([told[name] for name in tables], [[] for _ in tables])
        self.assertEqual((told["connections"], told["gaps"]["list"], told["requests"]), ([], [], {}))
        # Whatever is selected, the object has the same keys.
        self.assertEqual(list(told), list(json_stats(capture)))
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
