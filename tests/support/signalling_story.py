"""The story of corvane-modem-sim --scenario signalling, as a host hears it that records
profiles/signalling.cfg."""

import json
import os
import pathlib
import re
import struct
import subprocess
import sys
import threading

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "e2e"))

from support import diag  # noqa: E402

DEADLINE = 60.0
PROGRAMS = pathlib.Path(os.environ["CORVANE_PROGRAMS"])
PROFILE = ROOT / "profiles" / "signalling.cfg"


def section(name):
    text = PROFILE.read_text(encoding="ascii")
    (items,) = re.findall(f"<{name}>(.*?)</{name}>", text, re.DOTALL)
    return items.split(",")


def profile_requests():
    """What a host sends that is to record the profile's logs and events."""
    codes = [int(code, 16) for code in section("LogCodes")]
    for equipment in sorted({code >> 12 for code in codes}):
        mask = sum(1 << (code & 0xFFF) for code in codes if code >> 12 == equipment)
        yield struct.pack("<IIII", 0x73, 3, equipment, 4096) + mask.to_bytes(512, "little")
    events = sum(1 << int(number) for number in section("EventIDs"))
    yield b"\x82\0\0\0" + struct.pack("<H", 4096) + events.to_bytes(512, "little")
    yield b"\x60\x01"


def told_story(*arguments):
    """The report of a run that ends by itself, for a host that reads all and sends the requests."""
    command = [PROGRAMS / "corvane-modem-sim", "--scenario", "signalling", "--rate", "max", "--then", "quit", *arguments]
    with subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE) as modem:
        watchdog = threading.Timer(DEADLINE, modem.kill)
        watchdog.start()
        try:
            plugged = json.loads(modem.stdout.readline())
            line = os.open(plugged["path"], os.O_RDWR | os.O_NOCTTY)
            reader = threading.Thread(target=read_to_the_end, args=(line,))
            reader.start()
            for request in profile_requests():
                os.write(line, diag.frame(request))
            report = [json.loads(text) for text in modem.stdout]
            reader.join()
            os.close(line)
        finally:
            watchdog.cancel()
            modem.stdin.close()
        if modem.wait() != 0:
            raise AssertionError(f"exit code {modem.returncode}; {report[-3:]}")
    return [entry for entry in report if entry.get("dir") == "tx"]


def raw_stream(report):
    """What the host has received, as another recorder would have stored it."""
    return b"".join(diag.frame(bytes.fromhex(entry["hex"])) for entry in report)


def corvane(*arguments, given=b""):
    """Runs the command line, which must succeed."""
    subprocess.run(
        [PROGRAMS / "corvane", *arguments],
        input=given,
        capture_output=True,
        timeout=DEADLINE,
        check=True,
    )


def read_to_the_end(line):
    try:
        while os.read(line, 65536):
            pass
    except OSError:
        pass  # the terminal is gone: the modem has hung up
