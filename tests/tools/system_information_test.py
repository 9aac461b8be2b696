"""WCDMA system information that is sent in segments, joined by corvane export.

Whole blocks (describe/messages.tsv) are cut by a segmenter of the test's own, by 3GPP TS 25.331, and
come back as frames that tshark shows as the blocks they were.
"""

import itertools
import pathlib
import struct
import unittest

import exported
import made_capture
from wireshark import exported_pdu, pcapng, tshark

TABLE = pathlib.Path(__file__).parents[1] / "describe" / "messages.tsv"

START = 1_700_000_000_000  # milliseconds since 1970
FIXED = 222  # bits of a segment that is no short one
LONGEST_SHORT = 214

# Choices of the payload.
FIRST, SUBSEQUENT, LAST_SHORT, LAST_AND_FIRST, LAST_AND_COMPLETE = 1, 2, 3, 4, 5
LAST_COMPLETE_FIRST, COMPLETE_LIST, COMPLETE_AND_FIRST, COMPLETE, LAST = 6, 7, 8, 9, 10

# What stands in front of the choice: 11 bits of frame number, or 2 bits that choose the message.
CHANNELS = {4: "00101100111", 5: "00", 0x84: "00101100111", 0x85: "00"}

# Blocks that tshark does not name in its Info column, and the fields that it shows of them.
UNNAMED = {f"SysInfoType{kind}": f"rrc.SysInfoType{kind}_element" for kind in (8, 9, 10)}


def number(value, width):
    return format(value, f"0{width}b")


def packed(bits):
    filled = bits + "0" * (-len(bits) % 8)
    return int(filled, 2).to_bytes(len(filled) // 8, "big")


class Block:
    def __init__(self, line):
        _, self.dissector, content, self.name, sib_type = line.split("\t")[:5]
        self.sib_type = int(sib_type)
        content = bytes.fromhex(content)
        self.bits = format(int.from_bytes(content, "big"), f"0{8 * len(content)}b")


def blocks():
    """Those whose type fits into a message."""
    lines = TABLE.read_text(encoding="utf-8").splitlines()
    found = [Block(line) for line in lines if line.startswith("WcdmaSystemInformationBlock\t")]
    return [block for block in found if block.sib_type < 31]


class Plan:
    """How a block is cut."""

    def __init__(self, block, short_first, short_last):
        self.block = block
        bits = block.bits
        first = min(40, len(bits) - 1) if short_first else FIXED
        rest = bits[first:] or "0"  # a segment has one bit or more
        self.pieces = [bits[:first].ljust(first, "0")]
        while len(rest) > (LONGEST_SHORT if short_last else FIXED):
            self.pieces.append(rest[:FIXED].ljust(FIXED, "0"))
            rest = rest[FIXED:] or "0"
        self.pieces.append(rest if short_last else rest.ljust(FIXED, "0"))
        self.short_first, self.short_last = short_first, short_last

    @property
    def joined(self):
        return packed("".join(self.pieces))

    def first(self):
        head = number(self.block.sib_type, 5) + number(len(self.pieces) - 1, 4)
        return head + self._data(self.pieces[0], self.short_first)

    def later(self, index):
        head = number(self.block.sib_type, 5) + number(index - 1, 4)
        is_last = index == len(self.pieces) - 1
        return head + self._data(self.pieces[index], is_last and self.short_last)

    def last(self):
        return self.later(len(self.pieces) - 1)

    @staticmethod
    def _data(bits, short):
        return (number(len(bits) - 1, 8) if short else "") + bits


# A list of two whole blocks: SIB 18 and SIB 17, 8 bits each.
LIST = number(2 - 1, 4) + (number(26, 5) + number(8 - 1, 8) + "0" * 8) + (
    number(24, 5) + number(8 - 1, 8) + "0" * 8
)


def messages_of(found):
    """The payloads of the messages that carry the blocks, and the plan of the block that each ends.

    Six ways to cut a block take turns, so that every choice with segments comes.
    """
    begun = None  # the plan of a block whose first segment stood behind the last one of another
    for way, block in zip(itertools.cycle(range(6)), found):
        short_last = way != 0
        plan = begun or Plan(block, short_first=way == 1, short_last=short_last)
        if begun is None:
            yield (COMPLETE_AND_FIRST, LIST + plan.first(), None) if way == 1 else (FIRST, plan.first(), None)
        begun = None
        for index in range(1, len(plan.pieces) - 1):
            yield SUBSEQUENT, plan.later(index), None
        follower = found[(found.index(block) + 1) % len(found)]
        if way == 0:
            yield LAST, plan.last(), plan
        elif way in (1, 5) or follower is found[0]:
            yield LAST_SHORT, plan.last(), plan
        elif way == 2:
            begun = Plan(follower, short_first=True, short_last=True)
            yield LAST_AND_FIRST, plan.last() + begun.first(), plan
        elif way == 3:
            begun = Plan(follower, short_first=True, short_last=True)
            yield LAST_COMPLETE_FIRST, plan.last() + LIST + begun.first(), plan
        else:
            yield LAST_AND_COMPLETE, plan.last() + LIST, plan


def capture_of(channel, payloads):
    """A capture of the messages. -> its bytes"""
    capture = made_capture.MadeCapture()
    capture.add_text("Port COM7 connected", made_capture.item_time(START))
    for place, (choice, payload, _) in enumerate(payloads, 1):
        message = packed(CHANNELS[channel] + number(choice, 4) + payload)
        place_of_cell = struct.pack("<HH", 10_713, 291) if channel & 0x80 else b""
        log = struct.pack("<BBH", channel, 0, len(message)) + place_of_cell + message
        time = START + 5 * place
        capture.add_log(0x412F, log, made_capture.item_time(time), made_capture.diag_stamp(time))
    return capture.closed()


def is_joined(comment):
    return "joined from items" in comment or "made from item" in comment


def joined_frames(data):
    """-> (dissector, message) of the frames that were joined"""
    file = pcapng.read(data)
    pdus = [
        exported_pdu.read(packet.data)
        for packet in file.packets
        if any(is_joined(comment) for comment in packet.comments)
    ]
    return [(pdu.dissector, pdu.message) for pdu in pdus]


class SystemInformation(unittest.TestCase):
    def test_the_segmenter_uses_every_choice_with_segments(self):
        choices = {choice for choice, _, _ in messages_of(blocks())}
        self.assertEqual(choices, set(range(FIRST, LAST + 1)) - {COMPLETE_LIST, COMPLETE})

    def test_every_block_is_joined_on_every_channel(self):
        payloads = list(messages_of(blocks()))
        expected = [(plan.block.dissector, plan.joined) for _, _, plan in payloads if plan]
        self.assertEqual(len(expected), len(blocks()))
        for channel in CHANNELS:
            with self.subTest(channel=channel):
                data = exported.good_export(capture_of(channel, payloads))
                self.assertEqual(joined_frames(data), expected)

    def test_tshark_shows_the_blocks_that_they_were(self):
        payloads = list(messages_of(blocks()))
        data = exported.good_export(capture_of(4, payloads))
        frames = tshark.frames_of(data, fields=("frame.comment", *UNNAMED.values()))
        for frame in frames:
            self.assertFalse(frame.malformed, frame)
        joined = [frame for frame in frames if is_joined(frame.first("frame.comment") or "")]
        plans = [plan for _, _, plan in payloads if plan]
        self.assertEqual(len(joined), len(plans))
        for frame, plan in zip(joined, plans):
            # What a block holds for other layers is named behind it.
            shown = frame.info or self.name_of(frame)
            self.assertTrue(shown.startswith(plan.block.name), (shown, plan.block.name))

    @staticmethod
    def name_of(frame):
        names = [name for name, field in UNNAMED.items() if frame.all(field)]
        return " ".join(names)

    def test_only_the_block_that_fills_its_message_gets_a_frame(self):
        master = next(block for block in blocks() if block.sib_type == 0)
        filled = master.bits.ljust(226, "0")
        payloads = [
            (COMPLETE_LIST, LIST, None),
            (COMPLETE, number(0, 5) + filled, None),
            (0, "", None),
        ]
        data = exported.good_export(capture_of(4, payloads))
        self.assertEqual(joined_frames(data), [("rrc.si.mib", packed(filled))])
        # tshark itself shows the blocks of a list, and of the other one no more than its bits.
        self.assertEqual(
            [frame.info for frame in tshark.frames_of(data)],
            [
                "SystemInformation-BCH (SysInfoType 18) (SysInfoType 17)",
                "SystemInformation-BCH",
                "MasterInformationBlock",
                "SystemInformation-BCH",
            ],
        )

    def test_a_broadcast_that_repeats_is_joined_each_time(self):
        plan = Plan(next(b for b in blocks() if b.sib_type == 21), short_first=False, short_last=True)
        first = (FIRST, plan.first(), None)
        middle = [(SUBSEQUENT, plan.later(index), None) for index in range(1, len(plan.pieces) - 1)]
        last = (LAST_SHORT, plan.last(), None)
        self.assertTrue(middle)
        once = [first, *middle, last]
        lost = [first, last]
        repeated = [first, first, *middle, middle[-1], last, last]
        data = exported.good_export(capture_of(4, once + lost + once + repeated))
        self.assertEqual(joined_frames(data), [("rrc.si.sib15-2", plan.joined)] * 3)


if __name__ == "__main__":
    unittest.main()
