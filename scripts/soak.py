#!/usr/bin/env python3
"""One long capture of a modem that streams and is unplugged at random: scripts/soak.sh runs it.

scripts/soak.py MINUTES [--rate PACKETS] [--seed N]

corvane.dll under Wine records what the simulated modem sends, in one capture. Without --rate the
modem sends four fifths of what goes through, which is measured first. At random moments, 2 to 12
seconds apart, the port vanishes and comes back: half of the times once everything has been read,
half of the times in the middle of the stream. Meanwhile threads, files, handles and memory are
looked at. At the end the file has to be complete and to hold every packet that the modem reports,
item for item; of a connection that ended in mid-stream, all but what was on the line at that moment,
which is less than 64 KiB. Threads, files and handles have to go down to as few in the second half as in
the first (each look for the port has some handles of its own for a moment), and the memory of the
second half is at most 512 KiB above that of the first. The exit code is 1 when
anything is not so. The seed is printed; a run with the same one sends the same and unplugs after the
same times."""

import argparse
import contextlib
import dataclasses
import itertools
import json
import mmap
import pathlib
import random
import shutil
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tests" / "support"))
sys.path.insert(0, str(ROOT / "tests" / "e2e"))

import simulated_modem_test as exchange  # noqa: E402  (needs the path)
from support import environment, holdings, isf, recording, simulator, wine  # noqa: E402

WINDOWS_PROGRAMS = ROOT / "build" / "mingw" / "bin"
MEMORY = 512  # KiB
ON_THE_LINE = 64 * 1024  # bytes that can be on the line when it is hung up
LIMIT_SECONDS = 5.0
SIZES = "small=90,medium=9,large=1"
PORT = "COM7"


class Trouble(Exception):
    """Something is missing, or something grows."""


@dataclasses.dataclass
class Ended:
    """What became of one connection."""

    in_mid_stream: bool
    packets: int = 0
    lost: int = 0


class Soak:
    """A capture in a host process, and the modem on its port."""

    def __init__(self, folder, seed, rate):
        self.rng = random.Random(seed)
        self.output = folder / "capture.isf"
        self.report = folder / "modem.jsonl"
        self.ended = []
        self.samples = []
        self._drains = 0
        config = folder / "capture.cfg"
        config.write_text(exchange.CONFIGURATION, encoding="ascii")
        self._port = environment.ports().add(PORT)
        self._port.link.unlink(missing_ok=True)
        options = f"--seed {seed % (1 << 32)} --rate {rate} --sizes {SIZES} --report"
        self._modem = simulator.Simulator(self._port.link, *options.split(), self.report)
        library = wine.windows_path(environment.programs / "corvane.dll")
        self._host = wine.HostProcess(
            environment.prefix(), environment.programs / "capture_host.exe", library, cwd=folder
        )
        names = [wine.windows_path(path) for path in (config, self.output)]
        self._host.ask("start", PORT, *names, answer="start true")

    def run(self, seconds):
        """Streams for so long, with disconnections."""
        end = time.monotonic() + seconds
        self._connect()
        while time.monotonic() < end:
            self._stream(min(end, time.monotonic() + self.rng.uniform(2.0, 12.0)))
            if time.monotonic() < end:
                self._disconnect(self.rng.random() < 0.5)
                self._connect()
        self._drain()
        self._stop()

    def _connect(self):
        self._port.set_present(True)
        self._host.wait_for(f"Port {PORT} connected")
        # It streams once it has had all requests.
        logs = f'"connection":{len(self.ended) + 1},"dir":"tx","kind":"log"'.encode()
        wine.wait_until(lambda: logs in self._end_of(self.report), "the stream")

    def _stream(self, end):
        while (left := end - time.monotonic()) > 0:
            time.sleep(min(left, 1.0))
            self.samples.append(holdings.of(self._host))

    def _drain(self):
        """Stops the stream; returns when the file has all of it, up to a packet behind the last one."""
        self._command("pause")
        self._drains += 1
        last = bytes.fromhex("10001400140000100102030405060708") + self._drains.to_bytes(4, "little")
        self._command(f"send {last.hex()}")
        wine.wait_until(lambda: last in self._end_of(self.output), "the last packet in the file")

    def _command(self, text):
        done = sum(1 for line in self._modem.lines if line.get("event") == "command")
        self._modem.command(text)
        self._modem.wait_event("command", done + 1)

    @staticmethod
    def _end_of(path):
        with open(path, "rb") as file:
            file.seek(max(0, path.stat().st_size - 200_000))
            return file.read()

    def _disconnect(self, in_mid_stream):
        if not in_mid_stream:
            self._drain()
        self._port.set_present(False)
        self._host.wait_for(f"Port {PORT} disconnected")
        self.ended.append(Ended(in_mid_stream))
        self._modem.command("unplug")
        self._modem.wait_event("unplugged", len(self.ended))
        if not in_mid_stream:
            self._command("resume")
        self._modem.command("plug")
        self._modem.wait_event("plugged", len(self.ended) + 1)

    def _stop(self):
        self._host.send("stop")
        self._host.wait_for(f"Port {PORT} disconnected")
        self.ended.append(Ended(in_mid_stream=False))
        if self._modem.close() != 0:
            raise Trouble("the modem failed")
        self._host.wait_for("stopped")

    def close(self):
        self._host.kill()
        self._modem.close()
        environment.ports().remove_all()


# --- What the file has to hold


def items_of(line):
    """-> the packets that a recorder keeps of a line of the report"""
    packets = line.get("events", [line["hex"]])
    if "embedded" in line:
        packets = [*packets, line["embedded"]]
    return [bytes.fromhex(packet) for packet in packets]


def reported(path):
    """-> for each connection of the report, in turn: its number, its lines"""
    with open(path, encoding="ascii") as file:
        lines = (json.loads(line) for line in file)
        packets = (line for line in lines if "seq" in line)
        yield from itertools.groupby(packets, lambda line: line["connection"])


def recorded(data):
    """-> for each connection of the file, in turn: its number, its items"""
    connection = 0
    for block in isf.blocks(data):
        for item in block.items:
            if item.type == isf.INFORMATION:
                connection += item.text == f"Port {PORT} connected"
            else:
                yield connection, item


def check_connection(ended, lines, items):
    """Compares what one connection has sent and received with what was recorded of it."""
    requests, expected = [], []
    for line in lines:
        if line["dir"] == "rx":
            requests.append(bytes.fromhex(line["hex"]))
        else:
            expected.append(line)
    if requests != exchange.expected_requests():
        raise Trouble("the modem has got other requests")
    packets = ((packet, line) for line in expected for packet in items_of(line))
    stored_requests = []
    for item in items:
        if item.type in recording.REQUEST_TYPES:
            stored_requests.append(item.packet)
            continue
        packet, _ = next(packets, (None, None))
        if packet is None or (item.type, item.packet) != recording.device_item(packet):
            raise Trouble(f"item {item.number} is not what the modem has sent")
        ended.packets += 1
    if stored_requests != requests:
        raise Trouble("other requests are recorded than were sent")
    missing = {line["seq"]: len(line["hex"]) // 2 for _, line in packets}
    ended.lost = len(missing)
    size = sum(missing.values())
    if missing and (not ended.in_mid_stream or size > ON_THE_LINE):
        raise Trouble(f"{len(missing)} packets of {size} bytes are missing at the end: {ended}")


def check_file(soak):
    """-> how many packets are in the file, and how many were on the line when it was hung up"""
    with open(soak.output, "rb") as file:
        with contextlib.closing(mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ)) as data:
            found = itertools.groupby(recorded(data), lambda pair: pair[0])
            sent = reported(soak.report)
            for ended in soak.ended:
                number, lines = next(sent)
                connection, items = next(found)
                if number != connection:
                    raise Trouble(f"connection {number} was recorded as {connection}")
                check_connection(ended, lines, (item for _, item in items))
            if next(found, None) is not None or next(sent, None) is not None:
                raise Trouble("there are more connections")
    return sum(one.packets for one in soak.ended), sum(one.lost for one in soak.ended)


def of_half(samples):
    """-> the fewest threads, files and handles, and the most memory"""
    fewest = {
        name: min(getattr(one, name) for one in samples) for name in ("threads", "files", "handles")
    }
    return holdings.Holdings(memory=max(one.memory for one in samples), **fewest)


def check_samples(samples):
    """-> what was held in the first half, and in the second"""
    middle = len(samples) // 2
    first, second = of_half(samples[:middle]), of_half(samples[middle:])
    if second.exceeds(first, MEMORY):
        raise Trouble(f"in the first half: {first}; in the second: {second}")
    return first, second


# --- The run


def measure_limit(folder, seed):
    """-> how many packets a second go through at most"""
    soak = Soak(folder, seed, "max")
    try:
        soak.run(LIMIT_SECONDS)
    finally:
        soak.close()
    packets, _ = check_file(soak)
    soak.report.unlink()
    return packets / LIMIT_SECONDS


def run(seconds, seed, programs, rate=None):
    """-> what has happened, as text"""
    environment.programs = programs
    folder = pathlib.Path(tempfile.mkdtemp(prefix="corvane-soak-"))
    try:
        if rate is None:
            rate = int(0.8 * measure_limit(folder, seed))
            print(f"{rate} packets a second", flush=True)
        soak = Soak(folder, seed, rate)
        try:
            soak.run(seconds)
        finally:
            soak.close()
        packets, lost = check_file(soak)
        first, second = check_samples(soak.samples)
        size = soak.output.stat().st_size
    finally:
        shutil.rmtree(folder)
    cut = sum(1 for one in soak.ended if one.in_mid_stream)
    return (
        f"{seconds:.0f} s, {packets} packets ({packets / seconds:.0f} a second), {size} bytes, "
        f"{len(soak.ended)} connections, {cut} of them ended in mid-stream\n"
        f"all packets are in the file, item for item; on the line at the {cut} ends: {lost}\n"
        f"{len(soak.samples)} looks while connected\n"
        f"first half:  {first}\nsecond half: {second}"
    )


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("minutes", type=float)
    arguments.add_argument("--rate", type=int)
    arguments.add_argument("--seed", type=int, default=random.randrange(1 << 32))
    options = arguments.parse_args()
    print(f"seed {options.seed}", flush=True)
    try:
        print(run(60 * options.minutes, options.seed, WINDOWS_PROGRAMS, options.rate))
    except (Trouble, isf.DamagedFile) as trouble:
        print(f"FAILED: {trouble}")
        return 1
    finally:
        environment.close()
    return 0


if __name__ == "__main__":
    sys.exit(main())
