"""Which rooms of a source tree include which, and which of these includes the plan of the house
forbids (docs/architecture.md has the plan)."""

import pathlib
import re

# Whose files each room may include besides its own. A room is a folder; one that is not named here
# belongs to the folder above it. An entry with a dot is one header of a room.
MAY_INCLUDE = {
    "platform": (),
    "filters": ("platform",),
    "diag": ("filters", "platform"),
    "ota": ("diag", "platform"),
    "capture/isf": ("ota", "filters", "diag", "platform"),
    "capture": ("capture/isf", "ota", "filters", "diag", "platform"),
    "io/serial": ("capture", "capture/isf", "ota", "filters", "diag", "platform"),
    "io/mbn": ("capture", "capture/isf", "ota", "filters", "diag", "platform"),
    "io": ("io/serial", "io/mbn", "capture", "capture/isf", "ota", "filters", "diag", "platform"),
    "control": ("io", "capture", "capture/isf", "ota", "filters", "diag", "platform", "corvane.h"),
    "reader": ("capture/isf", "platform"),
    "describe": ("diag", "ota/bit_cursor.h", "platform"),
    "convert": ("reader", "describe", "capture/isf", "ota/bit_cursor.h", "diag", "platform"),
    "analysis": ("convert", "reader", "describe", "capture/isf", "filters", "diag", "platform"),
    "rewrite": (
        "analysis/packet_faults.h", "convert", "reader", "describe", "capture/isf", "diag", "platform"
    ),
}

# Headers that lie outside the rooms.
PUBLIC_HEADERS = ("corvane.h",)

INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"\n]*)"', re.MULTILINE)
BLOCK_COMMENT = re.compile(r"/\*.*?\*/", re.DOTALL)


def room_of(path):
    """The room of a file, whose path starts at the source tree; None where there is no room."""
    for folder in pathlib.PurePosixPath(path).parents:
        if str(folder) in MAY_INCLUDE:
            return str(folder)
    return None


def includes(source):
    """Every include of another file of the project: (file, line, included), paths from `source`."""
    found = []
    for path in sorted(source.rglob("*")):
        if path.suffix not in (".h", ".cpp"):
            continue
        # A comment's lines are kept, so that the ones behind it keep their numbers.
        text = BLOCK_COMMENT.sub(
            lambda comment: "\n" * comment.group().count("\n"), path.read_text(encoding="utf-8")
        )
        for match in INCLUDE.finditer(text):
            line = text.count("\n", 0, match.start(1)) + 1
            found.append((path.relative_to(source).as_posix(), line, match.group(1)))
    return found


def fault_of(source, path, included):
    """What is wrong with one include; None for a good one."""
    room = room_of(path)
    if room is None:
        return "its folder is no room of the house"
    if included in PUBLIC_HEADERS:
        return None if included in MAY_INCLUDE[room] else f"{room} may not include it"
    parts = pathlib.PurePosixPath(included).parts
    if ".." in parts or "." in parts or not (source / included).is_file():
        return "the path does not start at the root of the sources"
    other = room_of(included)
    if other is None:
        return "that folder is no room of the house"
    if other == room or other in MAY_INCLUDE[room] or included in MAY_INCLUDE[room]:
        return None
    return f"{room} may not include {other}"


def faults(source):
    """A line for each include that breaks the plan: file:line: "included": why."""
    lines = []
    for path, line, included in includes(source):
        fault = fault_of(source, path, included)
        if fault is not None:
            lines.append(f'{path}:{line}: "{included}": {fault}')
    return lines


def mutual_rooms(source):
    """The pairs of rooms that include each other, whatever the plan says."""
    arrows = set()
    for path, _, included in includes(source):
        arrows.add((room_of(path), room_of(included)))
    return sorted((a, b) for a, b in arrows if None not in (a, b) and a < b and (b, a) in arrows)
