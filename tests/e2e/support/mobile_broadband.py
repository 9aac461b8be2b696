"""The stand-in for the Mobile Broadband service, under the host programs of one prefix.

tests/mbn_stand_in/scenario.h has the statements and steps, journal.h the lines of the log.
"""

import re
import subprocess

from support import wine

_TROUBLE = ("alive ", "array left locked", "waited in vain ")
_CALL = re.compile(r"call SetCommand 2 type 17 from 0 ([0-9A-F]*) -> 0x00000000")


class Service:
    """One run by a scenario. Host programs that are started afterwards meet it."""

    def __init__(self, prefix, folder, scenario):
        self._log = folder / "mbn.log"
        self._earlier = []  # lines of the logs before this one
        path = folder / "mbn.scenario"
        path.write_text(scenario, encoding="ascii")
        prefix.environment["CORVANE_MBN_SCENARIO"] = wine.windows_path(path)
        prefix.environment["CORVANE_MBN_LOG"] = wine.windows_path(self._log)

    def lines(self, start=""):
        """The log so far: what follows `start` in the lines that begin with it."""
        if not self._log.exists():
            return []
        text = self._log.read_text(encoding="latin-1")
        lines = text[: text.rfind("\n") + 1].splitlines()
        return [line[len(start) :] for line in lines if line.startswith(start)]

    def begin_new_log(self):
        """What was logged so far counts for `trouble` only. Nothing is being logged meanwhile."""
        self._earlier += self.lines()
        self._log.unlink(missing_ok=True)

    def commands(self):
        """The data of the commands that it took, in order."""
        matches = map(_CALL.fullmatch, self.lines())
        return [bytes.fromhex(match[1]) for match in matches if match]

    def wait_for(self, start, count=1):
        """Waits until `count` lines begin with `start`."""
        wine.wait_until(
            lambda: len(self.lines(start)) >= count, f"{count} lines {start!r}: {self.lines()}"
        )

    def trouble(self):
        """What is left or went wrong, as text; none when every object was given back."""
        lines = self._earlier + self.lines()
        made = sorted(line[5:] for line in lines if line.startswith("made "))
        gone = sorted(line[5:] for line in lines if line.startswith("gone "))
        trouble = [f"left: {name}" for name in made if name not in gone]
        if lines.count("world") != lines.count("end"):
            trouble.append("the service is still in use")
        trouble += [line for line in lines if line.startswith(_TROUBLE)]
        trouble += [
            line
            for line in lines
            if line.startswith("callback ") and not line.endswith(" -> 0x00000000")
        ]
        return trouble


def register(prefix, programs):
    _regsvr32(prefix, "/s", programs)


def unregister(prefix, programs):
    _regsvr32(prefix, "/s /u", programs)


def _regsvr32(prefix, options, programs):
    process = prefix.start(
        "regsvr32",
        *options.split(),
        wine.windows_path(programs / "mbn_stand_in.dll"),
        stdin=subprocess.DEVNULL,
        stdout=subprocess.DEVNULL,
    )
    if process.wait(wine.DEADLINE) != 0:
        raise AssertionError(f"regsvr32 {options} failed")
