#!/usr/bin/env python3
"""Kills captures at random moments and looks at what is left of each.

scripts/kill_test.py native|serial|mobile-broadband TIMES [SEED]

native             the portable part in build/native/bin/kill_host, over both kinds of transport in turn
serial             corvane.dll under Wine, over a COM port
mobile-broadband   corvane.dll under Wine, over the stand-in for the Mobile Broadband service

The recorder is killed by the system, from outside, while packets stream in. Then every item whose
recording had been completed has to be found by `corvane list`, unchanged and in its place, and by
`corvane list` in what `corvane recover` makes of the file. A request that was seen on the line proves
itself and everything recorded before it. The exit code is 1 when something is missing. The seed is
printed; a run with the same one chooses the same moments."""

import argparse
import os
import pathlib
import random
import re
import select
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tests" / "e2e"))

from support import diag, environment, isf, mobile_broadband, wine  # noqa: E402  (needs the path)

NATIVE_PROGRAMS = ROOT / "build" / "native" / "bin"
WINDOWS_PROGRAMS = ROOT / "build" / "mingw" / "bin"
DEADLINE = 60.0  # seconds; only what is broken takes as long
ITEM = re.compile(r" *\d+  \S+ +(\d+) ")
HEX = re.compile(r"    [0-9A-F]{4,}  ((?:[0-9A-F]{2} ?)+) ")


class Loss(Exception):
    """Something that was recorded is not in the file, or something else is."""


NOT_CLOSED = 3  # exit code of corvane list


def list_items(corvane, path, exit_code):
    """What `corvane list` finds. -> [(type, packet)]"""
    listing = subprocess.run(
        [corvane, "list", "--hex", path], capture_output=True, encoding="utf-8", check=False
    )
    if listing.returncode != exit_code:
        raise Loss(f"corvane list: exit code {listing.returncode}: {listing.stderr}")
    items = []
    for line in listing.stdout.splitlines():
        if data := HEX.match(line):
            items[-1] = (items[-1][0], items[-1][1] + bytes.fromhex(data[1]))
        elif item := ITEM.match(line):
            items.append((int(item[1]), b""))
    return items


def recover_items(corvane, path):
    """What `corvane list` finds in what `corvane recover` makes of the file; it has to be complete."""
    recovered = path.with_suffix(".recovered.isf")
    run = subprocess.run(
        [corvane, "recover", path, "-o", recovered, "--overwrite"],
        capture_output=True,
        encoding="utf-8",
        check=False,
    )
    if run.returncode not in (0, 1) or not recovered.exists():
        raise Loss(f"corvane recover: exit code {run.returncode}: {run.stderr}")
    isf.read(recovered)
    items = list_items(corvane, recovered, 0)
    recovered.unlink()
    return items


def check_left(corvane, path, check):
    """Has `check` look at the items of the file and at those that are recovered from it."""
    listed = list_items(corvane, path, NOT_CLOSED)
    check(listed)
    recovered = recover_items(corvane, path)
    check(recovered)
    # At most the item that was being recorded is found in addition.
    if recovered[: len(listed)] != listed or len(recovered) > len(listed) + 1:
        raise Loss(f"{len(listed)} items are listed, and {len(recovered)} others recovered")


def check_beginning(what, found, sent, proven):
    """`found` has to be the beginning of `sent`, with the first `proven` of it at least."""
    if len(found) < proven:
        raise Loss(f"{what}: {proven} were recorded, and {len(found)} are there")
    if found != sent[: len(found)]:
        place = next(n for n, item in enumerate(found) if n >= len(sent) or item != sent[n])
        raise Loss(f"{what}: number {place} of {len(found)} is another one")


# --- What the modem sends


def packet(number, size):
    """A log packet with a number, and its item. One of four tells a wrong length."""
    length = (12 + size + 4 * (number % 4 == 0)).to_bytes(2, "little")
    body = number.to_bytes(4, "little") * (size // 4)
    whole = bytes([0x10, 0]) + length + length + bytes.fromhex("C0B00102030405060708") + body
    return whole, [(isf.LOG, whole)]


def event_report(number):
    """An event report with two events, and their items."""
    stamp = number.to_bytes(8, "little")
    first = b"\x23\x01" + stamp
    second = b"\x24\x21" + stamp + b"\x55"
    report = b"\x60" + (len(first) + len(second)).to_bytes(2, "little") + first + second
    items = [b"\x60\x0a\x00" + first, b"\x60\x0b\x00" + second]
    return report, [(isf.EVENT, item) for item in items]


def make_delivery(rng, number):
    """Some packets that arrive at once. -> (bytes, items)"""
    data, items = b"", []
    for part in range(rng.randrange(1, 5)):
        whole, recorded = (
            event_report(8 * number + part)
            if rng.random() < 0.2
            else packet(8 * number + part, 4 * rng.choice((1, 4, 30, 300)))
        )
        data += diag.frame(whole)
        items += recorded
    return data, items


def make_deliveries(seed, count):
    rng = random.Random(seed)
    return [make_delivery(rng, number) for number in range(count)]


# --- On this machine

REQUESTS = 900  # message levels that the capture asks for, behind the fixed requests
REPLY = diag.frame(b"\x13\x01")
REPLY_ITEM = (isf.PACKET, b"\x13\x01")
FILLING = (isf.PACKET, b"\x05\x05")


def levels_request(ssid):
    return bytes([0x7D, 4]) + 2 * ssid.to_bytes(2, "little") + bytes(2) + (2).to_bytes(4, "little")


NATIVE_REQUESTS = diag.START_UP_REQUESTS + [levels_request(ssid) for ssid in range(REQUESTS)]


class NativeCapture:
    """One run of kill_host, from its start to its end by a kill."""

    def __init__(self, host, path, way, filling):
        self.path = path
        self.filling = filling
        self.sent = []  # items of every message that was handed over, one list a message
        self.requests = []  # that were seen on the line
        self.dealt_with = 0  # messages
        self._line, line = socket.socketpair(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        self._told, told = socket.socketpair(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        with line, told:
            self._process = subprocess.Popen(
                ["/bin/sh", "-c", 'exec 3<&"$0" && exec "$@"', str(told.fileno())]
                + [host, path, way, str(REQUESTS), str(filling)],
                stdin=line,
                stdout=subprocess.DEVNULL,
                pass_fds=[told.fileno()],
            )
        self._line.setblocking(False)
        self._told.setblocking(False)
        self._unanswered = 0

    def stream(self, deliveries, seconds):
        """Sends until so many seconds after the first request."""
        self._wait_for_request()
        end = time.monotonic() + seconds
        next_delivery = iter(deliveries)
        waiting = next(next_delivery)
        while (left := end - time.monotonic()) > 0:
            readable, writable, _ = select.select(
                [self._line, self._told], [self._line], [], left
            )
            if readable:
                self._take()
            if writable and self._unanswered > 0 and self._send(REPLY, [REPLY_ITEM]):
                self._unanswered -= 1
            if writable and waiting is not None and self._send(*waiting):
                waiting = next(next_delivery, None)

    def _wait_for_request(self):
        if not select.select([self._line], [], [], DEADLINE)[0]:
            raise Loss("no request came")

    def _send(self, data, items):
        try:
            self._line.send(data)
        except BlockingIOError:
            return False
        self.sent.append(items)
        return True

    def _take(self):
        """Takes what has come, as far as there is something."""
        try:
            while frame := self._line.recv(65536):
                self.requests.append(diag.unframe(frame[:-1]))
                self._unanswered += 1
        except (BlockingIOError, ConnectionResetError):
            pass
        try:
            while told := self._told.recv(4):
                self.dealt_with = int.from_bytes(told, "little")
        except (BlockingIOError, ConnectionResetError):
            pass

    def kill(self):
        """Kills it and takes what it had sent before."""
        self._process.send_signal(signal.SIGKILL)
        code = self._process.wait(DEADLINE)
        if code != -signal.SIGKILL:
            raise Loss(f"it had ended by itself: {code}")
        self._take()
        self._line.close()
        self._told.close()

    def check(self, items):
        """`items` are those of the file."""
        head = 1 + self.filling + 1  # the first text, what stands in front, the connection's text
        if [item for item in items[1 : head - 1] if item != FILLING] or len(items) < head:
            raise Loss("the beginning of the file is another one")
        from_modem = [item for item in items[head:] if item[0] not in REQUEST_TYPES]
        to_modem = [item for item in items[head:] if item[0] in REQUEST_TYPES]
        check_beginning(
            "packets",
            from_modem,
            [item for message in self.sent for item in message],
            sum(len(message) for message in self.sent[: self.dealt_with]),
        )
        requests = [(request_type(request), request) for request in NATIVE_REQUESTS]
        if self.requests != NATIVE_REQUESTS[: len(self.requests)]:
            raise Loss("the requests on the line are others")
        check_beginning("requests", to_modem, requests, len(self.requests))


REQUEST_TYPES = (isf.REQUEST, isf.SUBSYSTEM_REQUEST)


def request_type(request):
    return isf.SUBSYSTEM_REQUEST if request[0] == 0x4B else isf.REQUEST


def kill_native(times, seed, programs):
    """Kills captures on this machine. -> the number of items that were proven"""
    corvane, host = programs / "corvane", programs / "kill_host"
    deliveries = make_deliveries(seed, 1000)
    proven = 0
    with tempfile.TemporaryDirectory(prefix="corvane-") as folder:
        for number in range(times):
            rng = random.Random(f"{seed} {number}")
            way = ("serial", "broadband")[number % 2]
            # One capture of four is about to begin another block.
            filling = rng.randrange(8000, 8190) if rng.random() < 0.25 else 0
            seconds = rng.uniform(0.0, 0.03)
            capture = NativeCapture(host, pathlib.Path(folder) / "killed.isf", way, filling)
            try:
                capture.stream(deliveries, seconds)
            finally:
                capture.kill()
            try:
                check_left(corvane, capture.path, capture.check)
            except (Loss, isf.DamagedFile) as loss:
                keep(capture.path, number)
                raise Loss(f"kill {number} ({way}): {loss}") from loss
            proven += sum(len(message) for message in capture.sent[: capture.dealt_with])
            proven += len(capture.requests)
    return proven


def keep(path, number):
    """Keeps the file of a capture that lost something."""
    kept = pathlib.Path(tempfile.gettempdir()) / f"corvane-killed-{os.getpid()}-{number}.isf"
    shutil.copyfile(path, kept)
    print(f"kept: {kept}", file=sys.stderr)


# --- Under Wine


def check_against(items, texts, from_modem, proven, seen):
    """`items` are those of a file of corvane.dll.

    `proven` says how many of `from_modem` were recorded for certain, `seen` are the requests that came
    out.
    """
    requests = [(request_type(request), request) for request in NATIVE_REQUESTS]
    if seen != NATIVE_REQUESTS[: len(seen)]:
        raise Loss("the requests on the line are others")
    if [packet for type_, packet in items if type_ == isf.INFORMATION] != texts:
        raise Loss("the texts are others")
    rest = [item for item in items if item[0] != isf.INFORMATION]
    check_beginning(
        "packets", [item for item in rest if item[0] not in REQUEST_TYPES], from_modem, proven
    )
    check_beginning(
        "requests", [item for item in rest if item[0] in REQUEST_TYPES], requests, len(seen)
    )


def text_item(text):
    return b"\xc0\xff\xff\xff" + (text + "\0").encode("utf-16-le")


def write_configuration(folder):
    levels = ",".join(f"{ssid}/1" for ssid in range(REQUESTS))
    path = folder / "capture.cfg"
    path.write_text(f"<MessageLevels>{levels}</MessageLevels>", encoding="ascii")
    return path


class WineHost:
    """A host with corvane.dll that has started a capture."""

    def __init__(self, folder, device):
        self.output = folder / "killed.isf"
        library = environment.programs / "corvane.dll"
        self._host = wine.HostProcess(
            environment.prefix(),
            environment.programs / "capture_host.exe",
            wine.windows_path(library),
            cwd=folder,
        )
        self._arguments = (
            device,
            wine.windows_path(write_configuration(folder)),
            wine.windows_path(self.output),
        )

    def start(self):
        self._host.ask("start", *self._arguments, answer="start true")

    def call(self, module, function, text):
        """Has the host call a function of a module; does not wait for it."""
        self._host.send("call", module, function, text)

    def kill(self):
        os.kill(self._host.pid, signal.SIGKILL)
        self._host.kill()


class SerialCapture:
    """One capture over a COM port, from its start to its end by a kill."""

    NAME = "COM7"
    TEXTS = ["Corvane version 1.0", f"Port {NAME} connected"]

    def __init__(self, folder, port, deliveries):
        self.host = WineHost(folder, self.NAME)
        self._line = port.plug()
        self._deliveries = deliveries
        self._sent = []  # items, in the order in which they went out
        self._behind_reply = []  # how many of them there were with each reply
        self._requests = []
        self._received = b""

    def stream(self, seconds):
        """Sends until so many seconds after the first request."""
        self.host.start()
        wine.wait_until(self._take, "a request")
        end = time.monotonic() + seconds
        for data, items in self._deliveries:
            if time.monotonic() >= end:
                break
            self._line.send(data)
            self._sent += items
            self._take()
            while len(self._behind_reply) < len(self._requests):
                self._line.send(REPLY)
                self._sent.append(REPLY_ITEM)
                self._behind_reply.append(len(self._sent))

    def _take(self):
        """Takes the requests that have come. -> whether there are any"""
        while data := self._line.receive(0):
            self._received += data
        *frames, self._received = self._received.split(b"\x7e")
        self._requests += map(diag.unframe, frames)
        return bool(self._requests)

    def kill(self):
        self.host.kill()
        self._take()

    def check(self, items):
        # The request behind a reply went out when everything up to the reply had been recorded.
        replies = len(self._requests) - 1
        texts = [text_item(text) for text in self.TEXTS]
        check_against(items, texts, self._sent, self.proven_packets(replies), self._requests)

    def proven_packets(self, replies):
        return self._behind_reply[replies - 1] if replies > 0 else 0

    def proven(self):
        return self.proven_packets(len(self._requests) - 1) + len(self._requests)


def kill_over_serial_port(times, seed, programs):
    """Kills captures of corvane.dll over a COM port. -> the number of items that were proven"""
    environment.programs = programs
    deliveries = make_deliveries(seed, 1000)
    port = environment.ports().add(SerialCapture.NAME)
    try:
        return kill_in_turn(
            times, seed, lambda folder: SerialCapture(folder, port, deliveries), port_is_gone(port)
        )
    finally:
        environment.close()


def port_is_gone(port):
    def end():
        port.set_present(False)
        port.line.hang_up()

    return end


class BroadbandCapture:
    """One capture over the stand-in for the Mobile Broadband service, which is in the process too."""

    ID = "{5A1B9A3C-61F0-4E0B-9D3E-0000000000AB}"
    TEXTS = ["Corvane version 1.0", f"Port {ID} connected"]

    def __init__(self, folder, seed):
        rng = random.Random(seed)
        # The session opens when the start has been told: both write to the host's output.
        scenario = [f"interface {self.ID}", "open-completion withheld", "reply 0x60 600000"]
        self._notifications = []  # the items of each, in their order
        for number, request in enumerate(NATIVE_REQUESTS):
            packets = [packet(8 * number + part, 4 * rng.choice((1, 4, 30)))
                       for part in range(rng.randrange(1, 5))]
            scenario.append(f"at command {number} reply")
            scenario.append(f"at command {number} packets " + " ".join(
                whole.hex() for whole, _ in packets))
            self._notifications.append([(reply_type(request), diag.default_reply(request))])
            self._notifications.append([item for _, items in packets for item in items])
        self._service = mobile_broadband.Service(
            environment.prefix(), folder, "\n".join(scenario) + "\n"
        )
        self.host = WineHost(folder, f"QMBE:{self.ID}")

    def stream(self, seconds):
        """Lets it run until so many seconds after the first request."""
        self.host.start()
        self.host.call("mbn_stand_in.dll", "StandInDo", "opened 0")
        self._service.wait_for("call SetCommand")
        time.sleep(seconds)

    def kill(self):
        self.host.kill()

    def _returned(self):
        """How many notifications had been dealt with."""
        return len(self._service.lines("callback OnEventNotification"))

    def _seen(self):
        return [diag.unframe(command[:-1]) for command in self._service.commands()]

    def check(self, items):
        check_against(
            items,
            [text_item(text) for text in self.TEXTS],
            [item for notification in self._notifications for item in notification],
            self._proven_packets(),
            self._seen(),
        )

    def _proven_packets(self):
        return sum(len(items) for items in self._notifications[: self._returned()])

    def proven(self):
        return self._proven_packets() + len(self._seen())


def reply_type(request):
    return isf.SUBSYSTEM if request[0] == 0x4B else isf.PACKET


def kill_over_mobile_broadband(times, seed, programs):
    """Kills captures of corvane.dll over the stand-in. -> the number of items that were proven"""
    environment.programs = programs
    os.environ.setdefault("CORVANE_WINEPREFIX", str(ROOT / "build" / "wine-mbn"))
    mobile_broadband.register(environment.prefix(), programs)
    try:
        return kill_in_turn(
            times, seed, lambda folder: BroadbandCapture(folder, seed), lambda: None
        )
    finally:
        mobile_broadband.unregister(environment.prefix(), programs)
        environment.close()


def kill_in_turn(times, seed, begin, end):
    """Begins, kills and checks one capture after the other. -> the number of items proven"""
    corvane = NATIVE_PROGRAMS / "corvane"
    proven = 0
    for number in range(times):
        rng = random.Random(f"{seed} {number}")
        with tempfile.TemporaryDirectory(prefix="corvane-") as folder:
            capture = begin(pathlib.Path(folder))
            try:
                capture.stream(rng.uniform(0.0, 0.5))
            finally:
                capture.kill()
                end()
            try:
                check_left(corvane, capture.host.output, capture.check)
            except (Loss, isf.DamagedFile) as loss:
                keep(capture.host.output, number)
                raise Loss(f"kill {number}: {loss}") from loss
            proven += capture.proven()
    return proven


# --- The command line


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("way", choices=sorted(WAYS))
    arguments.add_argument("times", type=int)
    arguments.add_argument("seed", type=int, nargs="?", default=random.randrange(1 << 32))
    options = arguments.parse_args()
    print(f"seed {options.seed}", flush=True)
    begin = time.monotonic()
    try:
        proven = WAYS[options.way](options.times, options.seed)
    except (Loss, isf.DamagedFile) as loss:
        print(f"LOST: {loss}")
        return 1
    print(
        f"{options.way}: {options.times} captures killed, {proven} items proven to be recorded, "
        f"all of them listed and recovered ({time.monotonic() - begin:.0f} s)"
    )
    return 0


WAYS = {
    "native": lambda times, seed: kill_native(times, seed, NATIVE_PROGRAMS),
    "serial": lambda times, seed: kill_over_serial_port(times, seed, WINDOWS_PROGRAMS),
    "mobile-broadband": lambda times, seed: kill_over_mobile_broadband(
        times, seed, WINDOWS_PROGRAMS
    ),
}

if __name__ == "__main__":
    sys.exit(main())
