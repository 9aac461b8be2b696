"""Windows programs under Wine, in one prefix of the build tree."""

import fcntl
import os
import pathlib
import re
import subprocess
import tempfile
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parents[3]

# How long a condition may take to come true. Only a broken program ever waits this long.
DEADLINE = 60.0


def wait_until(condition, what, deadline=DEADLINE):
    """Returns the first true value of `condition()`; fails when none comes in time."""
    end = time.monotonic() + deadline
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() >= end:
            raise AssertionError(f"not within {deadline:.0f} s: {what}")
        time.sleep(0.005)


class WinePrefix:
    """The prefix that scripts/wine.sh uses: $CORVANE_WINEPREFIX, or build/wine.

    Its COM ports and registry belong to one test program at a time: whoever holds an object of this
    class. Others wait in the constructor.
    """

    def __init__(self):
        self.path = pathlib.Path(os.environ.get("CORVANE_WINEPREFIX", ROOT / "build" / "wine"))
        self.path.parent.mkdir(parents=True, exist_ok=True)
        self._lock = open(f"{self.path}.ports.lock", "w", encoding="ascii")
        fcntl.flock(self._lock, fcntl.LOCK_EX)
        self.log = open(f"{self.path}.programs.log", "ab")
        self.environment = dict(os.environ, CORVANE_WINEPREFIX=str(self.path))
        subprocess.run(
            [ROOT / "scripts" / "wine.sh"],
            env=self.environment,
            stdin=subprocess.DEVNULL,
            stdout=self.log,
            stderr=self.log,
            check=True,
        )

    def close(self):
        self.log.close()
        self._lock.close()

    def start(self, program, *arguments, **options):
        """Starts a Windows program; standard error goes to the prefix's log by default. -> Popen"""
        return subprocess.Popen(
            [ROOT / "scripts" / "wine.sh", program, *arguments],
            env=self.environment,
            **{"stderr": self.log, **options},
        )


def windows_path(path):
    """The path by which a Windows program reaches a file of this machine."""
    return "Z:" + str(path).replace("/", "\\")


class HostProcess:
    """A running Windows program that reads commands and writes lines (tests/e2e/hosts)."""

    def __init__(self, prefix, program, *arguments, cwd=None):
        self.lines = []  # everything it has written so far, without line ends
        self._next = 0  # the first line that no wait_for has passed yet
        self._ended = False
        self._changed = threading.Condition()
        self._errors = tempfile.TemporaryFile()
        self._process = prefix.start(
            program,
            *arguments,
            cwd=cwd,
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=self._errors,
        )
        self.pid = self._process.pid
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()
        try:
            self.wait_for("ready")
        except AssertionError:
            self.kill()
            raise

    def _read(self):
        for raw in self._process.stdout:
            with self._changed:
                self.lines.append(raw.decode("latin-1").rstrip("\r\n"))
                self._changed.notify_all()
        with self._changed:
            self._ended = True
            self._changed.notify_all()

    def send(self, *fields):
        """Sends one command."""
        self._process.stdin.write("\t".join(fields).encode("latin-1") + b"\n")
        self._process.stdin.flush()

    def wait_for(self, pattern, deadline=DEADLINE):
        """Waits for a line that matches the whole `pattern`, behind the last one waited for.

        -> its match. Lines before it are passed over (and stay in `lines`).
        """
        expression = re.compile(pattern)
        end = time.monotonic() + deadline
        with self._changed:
            while True:
                for number in range(self._next, len(self.lines)):
                    match = expression.fullmatch(self.lines[number])
                    if match:
                        self._next = number + 1
                        return match
                if self._ended or not self._changed.wait(end - time.monotonic()):
                    if self._ended:
                        why = f"ended with exit code {self._process.wait(DEADLINE)}"
                    else:
                        why = f"not within {deadline:.0f} s"
                    raise AssertionError(f"no line {pattern!r} ({why}); {self._written()}")

    def ask(self, *fields, answer):
        """Sends one command and waits for its answer. -> the answer's match"""
        self.send(*fields)
        return self.wait_for(answer)

    def count(self, pattern):
        """How many lines so far match the whole `pattern`."""
        expression = re.compile(pattern)
        with self._changed:
            return sum(1 for line in self.lines if expression.fullmatch(line))

    def wait_ended(self, deadline=DEADLINE):
        """Waits until the program has ended by itself."""
        end = time.monotonic() + deadline
        with self._changed:
            while not self._ended:
                if not self._changed.wait(end - time.monotonic()):
                    raise AssertionError(f"the program did not end; {self._written()}")

    def _written(self):
        """Everything that it has written, for the message of a failure."""
        size = os.fstat(self._errors.fileno()).st_size
        errors = os.pread(self._errors.fileno(), size, 0).decode("utf-8", "replace")
        return f"all lines: {self.lines}; standard error: {errors!r}"

    def finish(self):
        """Ends the program by the end of its input. -> its exit code (the low 8 bits)"""
        if not self._process.stdin.closed:
            self._process.stdin.close()
        try:
            code = self._process.wait(DEADLINE)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()
            raise AssertionError(f"the program did not end; {self._written()}") from None
        finally:
            self._reader.join()
            self._process.stdout.close()
            self._errors.close()
        return code

    def kill(self):
        """Ends the program at once, whatever it does. For clean-up."""
        if self._process.poll() is None:
            self._process.kill()
            self._process.wait()
        self._reader.join()
        self._process.stdout.close()
        self._errors.close()
        if not self._process.stdin.closed:
            self._process.stdin.close()
