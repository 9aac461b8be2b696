"""corvane-modem-sim behind a COM port of the Wine prefix, and what it reports."""

import json
import subprocess
import threading
import time

from support import wine

PROGRAM = wine.ROOT / "build" / "native" / "bin" / "corvane-modem-sim"


class Simulator:
    """A running simulator. `lines` are its report's JSON objects so far."""

    def __init__(self, link, *arguments):
        self.lines = []
        self._changed = threading.Condition()
        self._ended = False
        self._process = subprocess.Popen(
            [PROGRAM, "--link", link, *arguments],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            text=True,
        )
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()
        self.wait_event("plugged")

    def _read(self):
        for line in self._process.stdout:
            with self._changed:
                self.lines.append(json.loads(line))
                self._changed.notify_all()
        with self._changed:
            self._ended = True
            self._changed.notify_all()

    def wait_event(self, name, count=1, deadline=wine.DEADLINE):
        """Waits until the event `name` has been reported `count` times."""
        end = time.monotonic() + deadline
        with self._changed:
            while sum(1 for line in self.lines if line.get("event") == name) < count:
                if self._ended or not self._changed.wait(end - time.monotonic()):
                    raise AssertionError(f"no event {name}; the last lines: {self.lines[-5:]}")

    def command(self, text):
        self._process.stdin.write(text + "\n")
        self._process.stdin.flush()

    def packets(self, direction):
        """What was sent ("tx") or received ("rx"), in order, noise and damaged packets too."""
        with self._changed:
            return [line for line in self.lines if line.get("dir") == direction]

    def close(self):
        """Ends the simulator. -> its exit code"""
        if self._process.poll() is None:
            try:
                self.command("quit")
                self._process.wait(wine.DEADLINE)
            except (BrokenPipeError, subprocess.TimeoutExpired):
                self._process.kill()
        code = self._process.wait()
        self._reader.join()
        self._process.stdin.close()
        self._process.stdout.close()
        return code
