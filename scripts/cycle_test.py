#!/usr/bin/env python3
"""Starts, stops, plugs and unplugs again and again, and looks at what the process holds afterwards.

scripts/cycle_test.py serial|mobile-broadband [--starts N] [--plugs N] [--stops N] [--seed N]

In one process of corvane.dll under Wine: 200 captures are started and stopped, one in four of them
with a device that has answered everything; in one capture the device is plugged in and unplugged 100
times; 50 captures are stopped at a random moment while the device comes, streams and goes. Each
capture file has to be complete, with what was sent. Then the process holds as many threads, files
and handles as before, and at most 128 KiB of memory more. The exit code is 1 when it does not. The
seed is printed; a run with the same one chooses the same moments.

serial             over a COM port
mobile-broadband   over the stand-in for the Mobile Broadband service, which delivers from four threads"""

import argparse
import os
import pathlib
import random
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tests" / "e2e"))

from support import (  # noqa: E402  (needs the path)
    diag,
    environment,
    holdings,
    isf,
    mobile_broadband,
    wine,
)

WINDOWS_PROGRAMS = ROOT / "build" / "mingw" / "bin"
MEMORY = 128  # KiB that a process may have more afterwards
REQUESTS = len(diag.START_UP_REQUESTS)
INFORMATION = "Corvane version 1.0"


class Trouble(Exception):
    """A capture is not what it has to be, or something was not given back."""


def log_packet(number):
    return bytes.fromhex("10001400140000100102030405060708") + number.to_bytes(4, "little")


class Cycles:
    """A host process with corvane.dll, and the device of its captures."""

    def __init__(self, folder, rng, device, name):
        self.rng = rng
        self.connections = 0  # that the library has told in earlier captures
        self._first_line = 0  # that the host has written in this capture
        self.output = folder / "capture.isf"
        config = folder / "capture.cfg"
        config.write_text("", encoding="ascii")
        library = wine.windows_path(environment.programs / "corvane.dll")
        self.host = wine.HostProcess(
            environment.prefix(), environment.programs / "capture_host.exe", library, cwd=folder
        )
        self._start = ["start", device, wine.windows_path(config), wine.windows_path(self.output)]
        self._name = name

    def start(self):
        self.connections = self.told("connected")
        self._first_line = len(self.host.lines)
        self.host.ask(*self._start, answer="start true")

    def told(self, what):
        """How often the library has printed that the port was connected, or disconnected."""
        return self.host.count(f"Port {self._name} {what}")

    def wait_told(self, what, count):
        wine.wait_until(lambda: self.told(what) >= count, f"{count} times {what}")

    def check(self):
        """The file is complete and tells of the port what was printed. -> the file"""
        capture = isf.read(self.output)
        printed = [line for line in self.host.lines[self._first_line :] if line.startswith("Port ")]
        if capture.texts != [INFORMATION] + printed:
            raise Trouble(f"printed: {printed}, and in the file: {capture.texts}")
        return capture

    def stop_behind(self, seconds):
        """A start and a stop, so much later."""
        self.start()
        time.sleep(seconds)
        self.stop()
        self.check()

    def holds(self):
        return holdings.of(self.host)


class SerialCycles(Cycles):
    """Over a COM port."""

    def __init__(self, folder, rng):
        super().__init__(folder, rng, "COM7", "COM7")
        self._port = environment.ports().add("COM7")
        self._modem = None
        self._sent = []  # the log packets of this capture
        self._number = 0

    def start(self):
        self._sent = []
        super().start()

    def plug(self):
        self._modem = diag.MinimalModem(self._port.plug())

    def wait_answered(self, connections):
        """Waits until so many connections are told, everything is answered and logs are recorded."""
        self.wait_told("connected", self.connections + connections)
        wine.wait_until(lambda: len(self._modem.replies) >= REQUESTS, "the replies")
        for _ in range(self.rng.randrange(1, 40)):
            self._send_log()
        wine.wait_until(self._last_is_recorded, "the last log packet in the file")

    def _send_log(self):
        self._number += 1
        self._sent.append(log_packet(self._number))
        self._port.line.send(diag.frame(self._sent[-1]))

    def _last_is_recorded(self):
        with open(self.output, "rb") as file:
            file.seek(-min(self.output.stat().st_size, 4096), os.SEEK_END)
            return self._sent[-1] in file.read()

    def unplug(self, connections):
        self._port.set_present(False)
        self.wait_told("disconnected", self.connections + connections)
        self._modem.stop()
        self._port.line.hang_up()

    def stop(self):
        """A stop at any moment: Wine ends a blocked read only when its line has hung up."""
        stopped = self.host.count("stopped")
        self.host.send("stop")
        wine.wait_until(
            lambda: self.host.count("stopped") > stopped
            or self.told("connected") == self.told("disconnected"),
            "the end of the connection",
        )
        if self._modem is not None:
            self._modem.stop()
            self._port.line.hang_up()
            self._modem = None
        self.host.wait_for("stopped")
        self._port.set_present(False)

    def check(self):
        """As many logs are there as were sent, where the line did not end in the middle of them."""
        capture = super().check()
        logs = capture.packets(isf.LOG)
        if logs != self._sent[: len(logs)]:
            raise Trouble(f"{len(self._sent)} log packets were sent, and {len(logs)} others are there")
        return capture

    def capture_all(self):
        """A capture of a device that has answered everything."""
        self.start()
        self.plug()
        self.wait_answered(1)
        self.stop()
        self.check_all()

    def check_all(self):
        if self.check().packets(isf.LOG) != self._sent:
            raise Trouble("log packets are missing")

    def capture_until(self, seconds):
        """A capture that is stopped so much later, whatever goes on."""
        self.start()
        end = time.monotonic() + seconds
        self.plug()
        unplugs = self.rng.choice((0.0, seconds / 2, seconds))
        while (left := end - time.monotonic()) > 0:
            if 0 < unplugs and left < unplugs:
                self._port.set_present(False)
                unplugs = 0
            # Before, the line takes some bytes for flow control. And no more than it takes when
            # nobody reads it any longer.
            if self.told("connected") > self.connections and len(self._sent) < 60:
                self._send_log()
            time.sleep(0.002)
        self.stop()
        self.check()

    def plug_and_unplug(self, times):
        """In one capture."""
        self.start()
        for number in range(1, times + 1):
            self.plug()
            self.wait_answered(number)
            self.unplug(number)
            self._modem = None
        self.stop()
        self.check_all()
        requests = isf.read(self.output).packets(isf.REQUEST, isf.SUBSYSTEM_REQUEST)
        if requests != times * diag.START_UP_REQUESTS:
            raise Trouble("the requests are others")

    LONGEST = 2.5  # seconds of a capture that is stopped at a random moment

    def close(self):
        self.host.kill()


class BroadbandCycles(Cycles):
    """Over the stand-in for the Mobile Broadband service."""

    ID = "{5A1B9A3C-61F0-4E0B-9D3E-0000000000AB}"
    LOG = log_packet(1)
    EACH = 3  # notifications that follow each request
    SCENARIO = (
        # The library and the host write to one output, so the session opens behind the start.
        f"interface {ID}\nthreads 4 at-once\nopen-completion withheld\n"
        "reply 0x60 600000\nat command * reply\n"
        + 2 * f"at command * packets {LOG.hex()}\n"
    )
    LONGEST = 0.3

    def __init__(self, folder, rng):
        self.service = mobile_broadband.Service(environment.prefix(), folder, self.SCENARIO)
        super().__init__(folder, rng, f"QMBE:{self.ID}", self.ID)
        # Each time it is unloaded, its run-time library leaves what it made for threads that live on.
        module = wine.windows_path(environment.programs / "mbn_stand_in.dll")
        self.host.ask("load", module, answer="loaded")

    def start(self):
        super().start()
        self._post("opened 0")

    def stop(self):
        self.host.ask("stop", answer="stopped")

    def check(self):
        trouble = self.service.trouble()
        if trouble:
            raise Trouble(f"the service: {trouble}")
        capture = super().check()
        self.service.begin_new_log()
        return capture

    def wait_answered(self):
        """Waits until a connection has had everything sent and delivered, and forgets it."""
        self.service.wait_for("callback OnEventNotification", self.EACH * REQUESTS)
        if len(self.service.commands()) != REQUESTS:
            raise Trouble(f"{len(self.service.commands())} requests")
        self.service.begin_new_log()

    def check_all(self, connections):
        capture = self.check()
        if capture.packets(isf.LOG) != 2 * REQUESTS * connections * [self.LOG]:
            raise Trouble("the log packets are others")
        requests = capture.packets(isf.REQUEST, isf.SUBSYSTEM_REQUEST)
        if requests != connections * diag.START_UP_REQUESTS:
            raise Trouble("the requests are others")

    def capture_all(self):
        self.start()
        self.wait_answered()
        self.stop()
        self.check_all(1)

    def plug_and_unplug(self, times):
        self.start()
        self.wait_answered()
        for _ in range(times):
            for step in (f"remove {self.ID}", f"arrive {self.ID}"):
                self.host.ask("call", "mbn_stand_in.dll", "StandInDo", step, answer="called 1")
            self._post("opened 0")
            self.wait_answered()
        self.stop()
        self.check_all(times + 1)

    def capture_until(self, seconds):
        self.start()
        if self.rng.random() < 0.5:
            time.sleep(self.rng.uniform(0.0, seconds))
            steps = (f"remove {self.ID}", f"arrive {self.ID}", "opened 0", f"remove {self.ID}")
            for step in steps[: self.rng.randrange(1, 5)]:
                self._post(step)
                time.sleep(self.rng.choice((0.0, seconds / 4)))
        else:
            time.sleep(seconds)
        self.stop()
        self.check()

    def _post(self, step):
        self.host.send("tell", "mbn_stand_in.dll", "StandInPost", step)

    def close(self):
        self.host.kill()


def run(cycles, starts, plugs, stops, warm_ups=2, memory=MEMORY):
    """-> what the process holds before and after everything, within so many KiB more"""
    # What is made at the first use stays.
    for _ in range(warm_ups):
        cycles.capture_all()
        cycles.stop_behind(0.01)
        cycles.capture_until(cycles.LONGEST / 2)
    cycles.plug_and_unplug(1)
    before = cycles.holds()
    for number in range(starts):
        if number % 4 == 0:
            cycles.capture_all()
        else:
            cycles.stop_behind(cycles.rng.uniform(0.0, 0.05))
    cycles.plug_and_unplug(plugs)
    for _ in range(stops):
        cycles.capture_until(cycles.rng.uniform(0.0, cycles.LONGEST))
    seen = []

    def is_given_back():
        seen.append(cycles.holds())
        return not seen[-1].exceeds(before, memory)

    try:
        wine.wait_until(is_given_back, "everything given back", deadline=20.0)
    except AssertionError:
        raise Trouble(f"held before: {before}; and now: {seen[-1]}") from None
    return before, seen[-1]


def over_serial_port(seed, programs, **counts):
    environment.programs = programs
    return run_and_close(SerialCycles, seed, counts)


def over_mobile_broadband(seed, programs, **counts):
    environment.programs = programs
    os.environ.setdefault("CORVANE_WINEPREFIX", str(ROOT / "build" / "wine-mbn"))
    mobile_broadband.register(environment.prefix(), programs)
    try:
        return run_and_close(BroadbandCycles, seed, counts)
    finally:
        mobile_broadband.unregister(environment.prefix(), programs)


def run_and_close(make, seed, counts):
    with tempfile.TemporaryDirectory(prefix="corvane-") as folder:
        cycles = make(pathlib.Path(folder), random.Random(seed))
        try:
            return run(cycles, **counts)
        finally:
            cycles.close()


WAYS = {"serial": over_serial_port, "mobile-broadband": over_mobile_broadband}


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("way", choices=sorted(WAYS))
    arguments.add_argument("--starts", type=int, default=200)
    arguments.add_argument("--plugs", type=int, default=100)
    arguments.add_argument("--stops", type=int, default=50)
    arguments.add_argument("--seed", type=int, default=random.randrange(1 << 32))
    options = arguments.parse_args()
    counts = {"starts": options.starts, "plugs": options.plugs, "stops": options.stops}
    print(f"seed {options.seed}", flush=True)
    begin = time.monotonic()
    try:
        before, after = WAYS[options.way](options.seed, WINDOWS_PROGRAMS, **counts)
    except (Trouble, isf.DamagedFile) as trouble:
        print(f"FAILED: {trouble}")
        return 1
    finally:
        environment.close()
    print(
        f"{options.way}: {options.starts} captures started and stopped, {options.plugs} plugs in one "
        f"capture, {options.stops} stops at random moments ({time.monotonic() - begin:.0f} s)\n"
        f"before: {before}\nafter:  {after}"
    )
    return 0


if __name__ == "__main__":
    sys.exit(main())
