"""Measures corvane.dll under Wine, from the COM port to the file, with the programs in build/mingw/bin.

A stream of packets is written into the port's other end as fast as it takes them. What is timed is from
the first byte until the last packet is in the file, beside a program that reads the same port in the same
chunks and makes three positioned writes a packet, and beside one that only reads."""

import itertools
import os
import pathlib
import shutil
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "e2e"))
sys.path.insert(0, str(ROOT / "scripts" / "bench"))

from library import row  # noqa: E402  (needs the path above)
from support import com_ports, isf, wine  # noqa: E402

PROGRAMS = ROOT / "build" / "mingw" / "bin"
PACKETS = {60: 60_000, 300: 40_000, 1500: 15_000}
ROUNDS = 5
LOG_ITEM = 5


DISTINCT = 1000


def crc_table():
    for entry in range(256):
        for _ in range(8):
            entry = entry >> 1 ^ (0x8408 if entry & 1 else 0)
        yield entry


CRC_TABLE = tuple(crc_table())


def frame(packet):
    """-> the frame of a packet; None where the CRC needs an escape"""
    crc = 0xFFFF
    for byte in packet:
        crc = crc >> 8 ^ CRC_TABLE[(crc ^ byte) & 0xFF]
    tail = (crc ^ 0xFFFF).to_bytes(2, "little")
    return None if set(tail) & {0x7D, 0x7E} else packet + tail + b"\x7e"


def frames(size):
    """-> packets and their frames, all different, for ever; no byte needs an escape"""
    for number in itertools.count():
        head = b"\x10\x00" + 2 * (size - 4).to_bytes(2, "little") + b"\x25\x41" + bytes(8)
        packet = (head + f"{number:09}".encode() + b"corvane " * (size // 8))[:size]
        framed = frame(packet)
        if framed:
            yield packet, framed


def traffic(size):
    """-> the packets of a stream, of which the last comes once, and the stream"""
    *some, last = itertools.islice(frames(size), DISTINCT + 1)
    sent = [some[number % DISTINCT] for number in range(PACKETS[size] - 1)] + [last]
    return [packet for packet, _ in sent], b"".join(framed for _, framed in sent)


class Run:
    """One measurement: a port with a line of its own, and what came of it."""

    def __init__(self, prefix, ports, folder, stream, last):
        self.prefix, self.folder, self.stream, self.last = prefix, folder, stream, last
        self.port = ports.add("COM7")
        self.line = self.port.relink()
        self.output = folder / "capture.isf"

    def record(self, host, wait):
        """Sends the stream, and waits until it has arrived. -> seconds, and those of the processors"""
        begin, processor = time.monotonic(), processor_time(host.pid)
        self.line.send(self.stream)
        wait()
        return time.monotonic() - begin, processor_time(host.pid) - processor

    def ends_with_last(self):
        size = self.output.stat().st_size
        with open(self.output, "rb") as file:
            file.seek(max(0, size - len(self.last)))
            return file.read() == self.last

    def library(self):
        """-> what it took until the last packet was in the file"""
        host = wine.HostProcess(
            self.prefix, PROGRAMS / "capture_host.exe", wine.windows_path(PROGRAMS / "corvane.dll")
        )
        config = self.folder / "capture.cfg"
        config.write_text("")
        self.port.set_present(True)
        names = wine.windows_path(config), wine.windows_path(self.output)
        host.ask("start", "COM7", *names, answer="start true")
        host.wait_for("Port COM7 connected")
        taken = self.record(host, lambda: wine.wait_until(self.ends_with_last, "the last packet"))
        host.send("stop")
        host.wait_for("Port COM7 disconnected")
        self.line.hang_up()
        host.wait_for("stopped")
        host.finish()
        return taken

    def reader(self, *arguments):
        """-> what it took until the program had read, and written, everything"""
        mode, *output = arguments
        host = wine.HostProcess(
            self.prefix, PROGRAMS / "port_reader.exe", r"\\.\COM7", mode, str(len(self.stream)), *output
        )
        taken = self.record(host, lambda: host.wait_for("done"))
        host.finish()
        return taken

    def writer(self):
        return self.reader("write", wine.windows_path(self.output))

    def only_read(self):
        return self.reader("read")


def processor_time(pid):
    """-> seconds that a process has taken of the processors"""
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text("ascii").rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def is_complete(path, sent):
    """-> whether a capture has all that was sent, in its order"""
    return isf.read(path).packets(LOG_ITEM) == sent


def measure(size, prefix, ports, folder):
    sent, stream = traffic(size)
    best = {}
    lost = 0
    for _ in range(ROUNDS):
        for way in (Run.library, Run.writer, Run.only_read):
            run = Run(prefix, ports, folder, stream, sent[-1])
            taken = way(run)
            if way is Run.library and not is_complete(run.output, sent):
                lost += 1
            best[way] = [min(pair) for pair in zip(taken, best.get(way, taken))]
            run.output.unlink(missing_ok=True)
            ports.remove_all()
    if lost:
        raise SystemExit(f"packets of {size} bytes: {lost} captures are not what was sent")
    (library, libraries), (writer, writers), (reader, _) = (
        best[way] for way in (Run.library, Run.writer, Run.only_read)
    )
    rate = PACKETS[size] / library
    row(
        f"port to file under Wine, {size} bytes",
        "reading the port and three WriteFile a packet, their time",
        library / writer,
        "at most 1.4",
        f"{rate:,.0f} packets/s, nothing lost; {libraries / writers:.2f} of its processor time",
    )
    row(
        f"port to file under Wine, {size} bytes",
        "only reading the port, its rate",
        reader / library,
    )


def main():
    prefix = wine.WinePrefix()
    ports = com_ports.ComPorts(prefix, PROGRAMS)
    folder = pathlib.Path(tempfile.mkdtemp(prefix="corvane-bench-"))
    try:
        for size in PACKETS:
            measure(size, prefix, ports, folder)
    finally:
        ports.close()
        prefix.close()
        shutil.rmtree(folder)


if __name__ == "__main__":
    main()
