"""What corvane stats tells of connections, gaps, and requests with their replies."""

import unittest

import made_capture
from stats_run import START, good_stats, json_stats, rows_of, text_of, two_connections


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


if __name__ == "__main__":
    unittest.main()
