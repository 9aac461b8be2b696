"""What tshark shows. It takes a second to start: put many frames into one file, and ask once."""

import contextlib
import os
import pathlib
import subprocess
import tempfile

# Only a tshark that hangs ever takes this long.
DEADLINE = 120.0

# A character that is in no field: tshark prints control characters of a packet as escapes.
_BETWEEN_VALUES = "\x1f"

# Asked for always: the columns, the dissectors that took part, and what they found wrong.
NUMBER, PROTOCOL, INFO = "frame.number", "_ws.col.Protocol", "_ws.col.Info"
DISSECTORS, MALFORMED = "frame.protocols", "_ws.malformed"
EXPERT, SEVERITY = "_ws.expert.message", "_ws.expert.severity"
_ALWAYS = (NUMBER, PROTOCOL, INFO, DISSECTORS, MALFORMED, EXPERT, SEVERITY)

_WARNING = 0x600000  # the severity of a remark; an error's is higher


class Failed(Exception):
    """tshark ended with an error; its words."""


class Frame:
    """One frame as tshark shows it."""

    def __init__(self, fields):
        self._fields = fields

    def all(self, field):
        """Every value of a field that was asked for, in the frame's order."""
        return self._fields[field]

    def first(self, field):
        values = self._fields[field]
        return values[0] if values else None

    @property
    def info(self):
        return self.first(INFO) or ""

    @property
    def protocol(self):
        return self.first(PROTOCOL) or ""

    @property
    def dissectors(self):
        """Their names from the outside in, as in "exported_pdu:lte_rrc"."""
        return (self.first(DISSECTORS) or "").split(":")

    @property
    def malformed(self):
        """Whether a dissector broke off."""
        return bool(self.all(MALFORMED))

    @property
    def complaints(self):
        """What dissectors say is wrong: their warnings and errors. Comments are none of these."""
        remarks = zip(self.all(EXPERT), self.all(SEVERITY), strict=True)
        return [text for text, severity in remarks if int(severity) >= _WARNING]

    def __repr__(self):
        return f"Frame({self._fields})"


def run(arguments, home=None):
    """Runs tshark with a home folder of its own: nobody's preferences count. -> what it printed"""
    with tempfile.TemporaryDirectory(prefix="corvane-tshark-") as scratch:
        ended = subprocess.run(
            ["tshark", *arguments],
            env={**os.environ, "HOME": str(home or scratch), "TZ": "UTC", "LC_ALL": "C.UTF-8"},
            stdin=subprocess.DEVNULL,
            capture_output=True,
            timeout=DEADLINE,
            check=False,
        )
    if ended.returncode != 0:
        raise Failed(ended.stderr.decode("utf-8", "replace"))
    return ended.stdout.decode("utf-8")


def frames(path, fields=(), only=None, preferences=()):
    """Dissects the capture file at `path` in one run. -> a list of Frame

    `fields` are further names as in display filters, `only` is a display filter, and `preferences`
    are texts such as "nas-eps.null_decipher:FALSE".
    """
    wanted = [*_ALWAYS, *fields]
    arguments = ["-r", str(path), "-T", "fields", "-E", "separator=/t"]
    arguments += ["-E", f"aggregator={_BETWEEN_VALUES}", "-E", "occurrence=a"]
    for name in wanted:
        arguments += ["-e", name]
    for preference in preferences:
        arguments += ["-o", preference]
    if only is not None:
        arguments += ["-Y", only]
    found = []
    for line in run(arguments).split("\n")[:-1]:
        values = line.split("\t")
        if len(values) != len(wanted):
            raise Failed(f"{len(values)} fields instead of {len(wanted)}: {line!r}")
        found.append(
            Frame(
                {
                    name: value.split(_BETWEEN_VALUES) if value else []
                    for name, value in zip(wanted, values)
                }
            )
        )
    return found


@contextlib.contextmanager
def scratch_file(data):
    """The path of a capture file with these bytes, for as long as it is needed."""
    with tempfile.TemporaryDirectory(prefix="corvane-tshark-") as scratch:
        path = pathlib.Path(scratch) / "frames.pcapng"
        path.write_bytes(data)
        yield path


def frames_of(data, **asked):
    """The same for the bytes of a capture file."""
    with scratch_file(data) as path:
        return frames(path, **asked)
