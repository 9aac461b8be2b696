"""A checkout's scripts/ in a folder of its own, with stand-ins for the programs that they call.

Each stand-in writes its call into a file and succeeds at once, unless the test has said what it does.
"""

import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]

# How long a condition may take to come true. Only a broken script ever waits this long.
DEADLINE = 60.0

STAND_IN = """#!/bin/sh
call="${0##*/} $*"
printf '%s\\n' "$call" >>"$SANDBOX/calls"  # backslashes as they are
case $call in
  "wine "*) echo "wine LC_ALL=$LC_ALL WINEPREFIX=$WINEPREFIX" >>"$SANDBOX/calls" ;;
esac
# shellcheck disable=SC2254  # patterns
case $call in
  $STAY_AT)
    # One that outlives its parent, and one that has left the session as Wine's server does.
    sleep 1000 &
    setsid sleep 1000 &
    echo $$ >"$SANDBOX/stays.new"
    mv "$SANDBOX/stays.new" "$SANDBOX/stays"
    exec sleep 1000
    ;;
  $FAIL_AT)
    echo "the reason of the failure"
    exit 53
    ;;
  $WAIT_AT)
    echo $$ >"$SANDBOX/stays.new"
    mv "$SANDBOX/stays.new" "$SANDBOX/stays"
    until [ -e "$SANDBOX/go" ]; do sleep 0.01; done
    echo "waited to the end" >>"$SANDBOX/calls"
    ;;
esac
case $call in
  "dpkg-query "*) echo "${PACKAGES:-installed}" ;;
  "id -u") echo 0 ;;
  "wine wineboot"*) mkdir -p "$WINEPREFIX/drive_c/windows/system32" "$WINEPREFIX/drive_c/windows/winsxs/one" ;;
  "corvane-modem-sim "*)
    echo '{"event":"plugged"}'
    exec sleep 1000
    ;;
esac
"""

# No call matches it.
NEVER = "-"


def wait_until(condition, what):
    """Returns the first true value of `condition()`; fails when none comes in time."""
    end = time.monotonic() + DEADLINE
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() >= end:
            raise AssertionError(f"not within {DEADLINE:.0f} s: {what}")
        time.sleep(0.005)


class Sandbox:
    def __init__(self):
        # Letters that the POSIX locale and Windows' Western code page do not have.
        self.root = pathlib.Path(tempfile.mkdtemp(prefix="corvane-ä Ж-"))
        shutil.copytree(ROOT / "scripts", self.root / "scripts")
        self._programs = self.root / "programs"
        for name in ("apt-get", "cmake", "ctest", "dpkg-query", "id", "tshark", "wine", "wineserver"):
            self.add_program(name)
        for program in (
            "native/bin/corvane",
            "native/bin/corvane-modem-sim",
            "asan/bin/ota_fuzzer",
            "bench/bin/framing_bench",
        ):
            self._add_stand_in(self.root / "build" / program)
        self.environment = {
            "PATH": f"{self._programs}:{os.environ['PATH']}",
            "LC_ALL": "POSIX",
            "SANDBOX": str(self.root),
            "STAY_AT": NEVER,
            "FAIL_AT": NEVER,
            "WAIT_AT": NEVER,
        }
        self.output = self.root / "output"

    def add_program(self, name):
        """A stand-in for one more program that is found in the search path."""
        self._add_stand_in(self._programs / name)

    def path_without(self, name):
        """A search path on which everything is found but one program."""
        folder = self.root / "others"
        folder.mkdir()
        for place in self.environment["PATH"].split(":"):
            for program in pathlib.Path(place).glob("*") if place else ():
                link = folder / program.name
                if program.name != name and not link.is_symlink():
                    link.symlink_to(program)
        return str(folder)

    @staticmethod
    def _add_stand_in(path):
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(STAND_IN, encoding="ascii")
        path.chmod(0o755)

    def start(self, script, *arguments, **environment):
        """Starts one of the scripts; what it prints goes to `output`. -> Popen"""
        with open(self.output, "wb") as output:
            return subprocess.Popen(
                [self.root / "scripts" / script, *arguments],
                env={**self.environment, **environment},
                stdin=subprocess.DEVNULL,
                stdout=output,
                stderr=output,
                # Whoever runs the tests may have these ignored, and a shell cannot undo that.
                preexec_fn=restore_signals,
            )

    def printed(self):
        return self.output.read_text(encoding="utf-8")

    def calls(self):
        try:
            return (self.root / "calls").read_text(encoding="utf-8").splitlines()
        except FileNotFoundError:
            return []

    def wait_for_stay(self, script):
        """Waits until a stand-in has come to the call at which it stays."""

        def stays():
            if script.poll() is not None:
                raise AssertionError(f"{script.args[0]} has ended: {self.printed()}")
            return (self.root / "stays").exists()

        wait_until(stays, "the call at which a stand-in stays")

    def processes(self):
        """The command lines of everything that still runs of what was started here, by process ID."""
        mark = f"SANDBOX={self.root}".encode()
        found = {}
        for process in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                if mark in (process / "environ").read_bytes().split(b"\0"):
                    found[int(process.name)] = (process / "cmdline").read_bytes()
            except (FileNotFoundError, PermissionError, ProcessLookupError):
                pass  # it has just ended, or is somebody else's
        return found

    def close(self):
        """Ends what a script has left behind."""
        for process in self.processes():
            try:
                os.kill(process, signal.SIGKILL)
            except ProcessLookupError:
                pass
        shutil.rmtree(self.root)


def restore_signals():
    for number in (signal.SIGHUP, signal.SIGINT, signal.SIGTERM):
        signal.signal(number, signal.SIG_DFL)
