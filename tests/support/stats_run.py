"""Runs corvane stats on captures that tests make."""

import csv
import datetime
import io
import json
import os
import pathlib
import subprocess
import tempfile

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
