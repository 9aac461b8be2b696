"""Frames of link type 252: a list of tags, the first of which names the dissector, and the message."""

import dataclasses
import struct

LINK_TYPE = 252

END = 0
DISSECTOR = 12
SOURCE_IPV4, DESTINATION_IPV4 = 20, 21
PROTOCOL_COLUMN = 33
DIRECTION = 35

SENT, RECEIVED = 0, 1


class Malformed(Exception):
    """What is wrong with the frame."""


@dataclasses.dataclass
class ExportedPdu:
    tags: list  # (tag, value) in the frame's order, padding included, without the end
    message: bytes

    def value(self, tag):
        """The value of a tag that comes at most once, or None."""
        values = [value for found, value in self.tags if found == tag]
        if len(values) > 1:
            raise Malformed(f"tag {tag} comes {len(values)} times")
        return values[0] if values else None

    @property
    def dissector(self):
        return self._text(DISSECTOR)

    @property
    def protocol(self):
        return self._text(PROTOCOL_COLUMN)

    @property
    def direction(self):
        """SENT (by the device, uplink), RECEIVED, or None where nothing is said."""
        value = self.value(DIRECTION)
        return None if value is None else struct.unpack(">I", value)[0]

    def _text(self, tag):
        value = self.value(tag)
        return None if value is None else value.rstrip(b"\0").decode("ascii")


def read(frame):
    """-> ExportedPdu; Malformed where the tags do not fit or have no end."""
    tags = []
    at = 0
    while True:
        if at + 4 > len(frame):
            raise Malformed("no end of tags")
        tag, length = struct.unpack_from(">HH", frame, at)
        at += 4
        if tag == END:
            if length:
                raise Malformed(f"an end of length {length}")
            return ExportedPdu(tags, bytes(frame[at:]))
        if at + length > len(frame):
            raise Malformed(f"tag {tag} of length {length} at {at - 4}")
        tags.append((tag, bytes(frame[at : at + length])))
        at += length


def write(dissector, message, sent=None, protocol=None):
    """A frame for `message`. `sent`: True uplink, False downlink, None for neither."""
    tags = [(DISSECTOR, dissector.encode("ascii"))]
    if protocol is not None:
        tags.append((PROTOCOL_COLUMN, protocol.encode("ascii")))
    if sent is not None:
        tags.append((DIRECTION, struct.pack(">I", SENT if sent else RECEIVED)))
    frame = b""
    for tag, value in tags:
        value += bytes(-len(value) % 4)
        frame += struct.pack(">HH", tag, len(value)) + value
    return frame + struct.pack(">HH", END, 0) + message
