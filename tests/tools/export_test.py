"""corvane export, read back by readers of the tests' own and by tshark."""

import functools
import os
import pathlib
import re
import resource
import struct
import subprocess
import tempfile
import unittest

import made_capture
from exported import DEADLINE, export, good_export, program
from signalling_table import (
    DOWN,
    LATER,
    START,
    STEP,
    UP,
    add_packet,
    all_rows,
    nanoseconds_of,
    one_row,
    rows,
)
from wireshark import exported_pdu, pcap, pcapng, tshark

# Otherwise Wireshark tries what is ciphered as plain.
PREFERENCES = ("nas-eps.null_decipher:FALSE",)


@functools.cache
def exported_rows():
    return good_export(all_rows()[0])


class Pcapng(unittest.TestCase):
    def test_every_message_stands_in_a_frame(self):
        file = pcapng.read(exported_rows())
        _, expected = all_rows()
        self.assertEqual(len(file.packets), len(expected))
        for packet, frame in zip(file.packets, expected):
            with self.subTest(what=frame.row.what):
                pdu = exported_pdu.read(packet.data)
                self.assertEqual(pdu.dissector, frame.row.dissector)
                self.assertEqual(pdu.message.hex(), frame.message.hex())
                self.assertEqual(packet.comments, [frame.comment])
                self.assertEqual(file.nanoseconds(packet), nanoseconds_of(frame.items[-1]))
                self.assertEqual(packet.direction, frame.row.direction)
                sent = {UP: exported_pdu.SENT, DOWN: exported_pdu.RECEIVED, None: None}
                self.assertEqual(pdu.direction, sent[frame.row.direction])

    def test_the_file_says_who_wrote_it_and_whence(self):
        file = pcapng.read(exported_rows())
        application = file.section.options.text(pcapng.SECTION_APPLICATION)
        self.assertRegex(application, r"^Corvane \d+\.\d+\.\d+$")
        (interface,) = file.interfaces
        self.assertEqual(interface.link_type, exported_pdu.LINK_TYPE)
        self.assertEqual(interface.name, "COM7")
        self.assertEqual(interface.options.text(pcapng.INTERFACE_DESCRIPTION), "Signalling of COM7")
        self.assertEqual((interface.snap_length, interface.units_per_second), (0, 10**9))

    def test_the_address_columns_tell_who_sent(self):
        for packet in pcapng.read(exported_rows()).packets:
            pdu = exported_pdu.read(packet.data)
            addresses = [
                pdu.value(tag)
                for tag in (exported_pdu.SOURCE_IPV4, exported_pdu.DESTINATION_IPV4)
            ]
            device, network = bytes((192, 0, 2, 1)), bytes((192, 0, 2, 2))
            expected = {UP: [device, network], DOWN: [network, device], None: [None, None]}
            self.assertEqual(addresses, expected[packet.direction])

    def test_tshark_shows_each_message_by_its_name(self):
        names = ("frame.interface_name", "frame.time_epoch", "frame.comment", "frame.packet_flags_direction")
        found = tshark.frames_of(exported_rows(), fields=names, preferences=PREFERENCES)
        _, expected = all_rows()
        self.assertEqual(len(found), len(expected))
        for shown, frame in zip(found, expected):
            with self.subTest(what=frame.row.what, shown=shown):
                self.assertFalse(shown.malformed)
                # A dissector that Wireshark does not know shows the frame alone.
                self.assertNotEqual(shown.protocol, "Exported PDU")
                self.assertTrue(shown.protocol)
                self.assertIn(frame.row.name, shown.info)
                self.assertEqual(shown.first("frame.interface_name"), "COM7")
                self.assertEqual(shown.all("frame.comment"), [frame.comment])
                seconds, rest = divmod(nanoseconds_of(frame.items[-1]), 10**9)
                self.assertEqual(shown.first("frame.time_epoch"), f"{seconds}.{rest:09}")


LTE = "LTE RRC version 15 channel 6"  # DL-CCCH
NR = "NR RRC version 26 channel 1"


def frames(data):
    """-> a list of (interface name, ExportedPdu, Packet)"""
    file = pcapng.read(data)
    return [
        (file.interfaces[packet.interface].name, exported_pdu.read(packet.data), packet)
        for packet in file.packets
    ]


class Sources(unittest.TestCase):
    """Which interface a message is on."""

    def interfaces(self, *before):
        """The interfaces of one message behind each of these texts, or packets' subscriptions."""
        capture = made_capture.MadeCapture()
        row = one_row(LTE)
        for number, told in enumerate(before):
            time = made_capture.item_time(START + number * STEP + LATER)
            if isinstance(told, str):
                capture.add_text(told, time)
                add_packet(capture, number, row.packet)
            else:
                wrapper = struct.pack("<BBHI", 0x98, 1, 0, told)
                capture.add(made_capture.PACKET, time, wrapper + row.packet)
        data = good_export(capture.closed())
        self.assertTrue(all(pdu.message == row.message for _, pdu, _ in frames(data)))
        return [name for name, _, _ in frames(data)]

    def test_the_last_connected_port_is_the_interface(self):
        texts = ["", "Port COM7 connected", "Port COM7 disconnected", "Port COM8 connected"]
        self.assertEqual(self.interfaces(*texts), ["drive.isf", "COM7", "COM7", "COM8"])

    def test_each_subscription_has_an_interface(self):
        texts = ["Port COM7 connected", "Subscription 2", "Subscription none", "Imported from x.hdlc"]
        self.assertEqual(
            self.interfaces(*texts), ["COM7", "COM7 subscription 2", "COM7", "x.hdlc"]
        )

    def test_a_wrapper_tells_the_subscription(self):
        names = self.interfaces("Port COM7 connected", 1, 2, 0, 0xFFFFFFFF)
        one, two = "COM7 subscription 1", "COM7 subscription 2"
        self.assertEqual(names, ["COM7", one, two, one, one])

    def test_sources_without_end_share_an_interface(self):
        names = self.interfaces(*(f"Port COM{number} connected" for number in range(300)))
        self.assertEqual(names[:256], [f"COM{number}" for number in range(256)])
        self.assertEqual(set(names[256:]), {"more sources"})


class Times(unittest.TestCase):
    FAR = 2 * 24 * 3600 * 1000  # milliseconds

    def times(self, *options, stamps=None, item=START + LATER):
        """The times of messages with these stamps, in nanoseconds, and what was told."""
        capture = made_capture.MadeCapture()
        for stamp in stamps or [made_capture.diag_stamp(START, 12_345)]:
            capture.add_log(0xB0C0, one_row(LTE).packet[16:], made_capture.item_time(item), stamp)
        data, code, messages = export(capture.closed(), *options)
        self.assertEqual(code, 0, messages)
        return [packet.time for _, _, packet in frames(data)], messages

    def test_the_modems_clock_counts_in_nanoseconds(self):
        exact = START * 10**6 + 12_345 * 1_250_000 // 49_152
        self.assertEqual(self.times()[0], [exact])
        self.assertEqual(self.times("--clock", "modem")[0], [exact])
        self.assertEqual(self.times("--leap-seconds", "18")[0], [exact - 18 * 10**9])

    def test_the_hosts_clock_counts_in_milliseconds(self):
        host = (START + LATER) * 10**6
        self.assertEqual(self.times("--clock", "host")[0], [host])
        self.assertEqual(self.times("--clock", "host", "--leap-seconds", "18")[0], [host])

    def test_a_stamp_days_away_is_not_believed(self):
        stamps = [
            made_capture.diag_stamp(START - self.FAR),
            made_capture.diag_stamp(START - self.FAR - STEP),
            made_capture.diag_stamp(START + self.FAR),
            made_capture.diag_stamp(START + self.FAR + STEP),
            0,
            2**64 - 1,
        ]
        times, messages = self.times("--leap-seconds", "1", stamps=stamps, item=START)
        second = 10**9
        near = [(START - self.FAR) * 10**6 - second, (START + self.FAR) * 10**6 - second]
        host = START * 10**6
        self.assertEqual(times, [near[0], host, near[1], host, host, host])
        self.assertIn(
            "corvane export: 4 modem times are more than two days away from the recorder's; these "
            "packets have the recorder's time",
            messages,
        )
        _, messages = self.times(stamps=[0], item=START)
        self.assertIn(
            "corvane export: 1 modem time is more than two days away from the recorder's; this "
            "packet has the recorder's time",
            messages,
        )

    def test_times_before_1970_become_1970(self):
        self.assertEqual(self.times("--clock", "host", item=-1)[0], [0])

    def test_order_is_that_of_the_capture(self):
        later, earlier = (made_capture.diag_stamp(START + n * STEP) for n in (1, 0))
        times, _ = self.times(stamps=[later, earlier])
        self.assertEqual(times, [(START + STEP) * 10**6, START * 10**6])


def bits(*pairs):
    """Values of so many bits each, most significant first, filled with zeros to a byte."""
    text = "".join(format(value, f"0{count}b") for value, count in pairs)
    text += "0" * (-len(text) % 8)
    return int(text, 2).to_bytes(len(text) // 8, "big")


class SystemInformation(unittest.TestCase):
    FIRST, COMPLETE, LAST = 1, 9, 10  # payload choices (3GPP TS 25.331)
    SIB3 = 3
    SEGMENT = 222  # bits of a piece

    def capture(self):
        """A SIB 3 of two segments, as BCCH-BCH messages, and the block that they make."""
        content = one_row("WCDMA RRC channel 255 SIB type 3").message
        block = int.from_bytes(content, "big") << (2 * self.SEGMENT - 8 * len(content))
        halves = block >> self.SEGMENT, block & ((1 << self.SEGMENT) - 1)
        messages = (
            bits((100, 11), (self.FIRST, 4), (self.SIB3, 5), (2 - 1, 4), (halves[0], self.SEGMENT)),
            bits((102, 11), (self.LAST, 4), (self.SIB3, 5), (1 - 1, 4), (halves[1], self.SEGMENT)),
        )
        capture = made_capture.MadeCapture()
        capture.add_text("Port COM7 connected", made_capture.item_time(START))
        for number, message in enumerate(messages, 1):
            payload = struct.pack("<BBH", 4, 0, len(message)) + message
            packet = made_capture.log_packet(0x412F, payload, 0)
            add_packet(capture, number, packet)
        return capture, messages, (block << 4).to_bytes(2 * self.SEGMENT // 8 + 1, "big")

    def test_segments_are_shown_and_joined(self):
        capture, messages, block = self.capture()
        data = good_export(capture.closed())
        shown = [(pdu.dissector, pdu.message, p.comments, p.time) for _, pdu, p in frames(data)]
        origin = "item 2, 0x412F, COM7"
        self.assertEqual(
            shown,
            [
                ("rrc.bcch.bch", messages[0], ["item 1, 0x412F, COM7"], nanoseconds_of(1)),
                ("rrc.bcch.bch", messages[1], [origin], nanoseconds_of(2)),
                ("rrc.si.sib3", block, [origin + ", joined from items 1, 2"], nanoseconds_of(2)),
            ],
        )
        names = [frame.info for frame in tshark.frames_of(data)]
        self.assertEqual(
            names, ["SystemInformation-BCH", "SystemInformation-BCH", "SysInfoType 3"]
        )

    def test_a_block_that_one_item_holds_is_made_from_it(self):
        content = int.from_bytes(one_row("WCDMA RRC channel 255 SIB type 3").message, "big")
        block = content << (226 - 8 * len(one_row("WCDMA RRC channel 255 SIB type 3").message))
        message = bits((100, 11), (self.COMPLETE, 4), (self.SIB3, 5), (block, 226))
        capture = made_capture.MadeCapture()
        capture.add_text("Port COM7 connected", made_capture.item_time(START))
        payload = struct.pack("<BBH", 4, 0, len(message)) + message
        add_packet(capture, 1, made_capture.log_packet(0x412F, payload, 0))
        comments = [packet.comments for _, _, packet in frames(good_export(capture.closed()))]
        self.assertEqual(
            comments, [["item 1, 0x412F, COM7"], ["item 1, 0x412F, COM7, made from item 1"]]
        )

    def rebuilt(self):
        """A block that the recorder rebuilt, one that the modem sent, and another message."""
        capture = made_capture.MadeCapture()
        payload = one_row("WCDMA RRC channel 255 SIB type 3").packet[16:]
        time = made_capture.item_time(START)
        capture.add_text("Port COM7 connected", time)
        for stamp in (START, START + STEP):
            capture.add_log(0x412F, payload, time, made_capture.diag_stamp(stamp))
        return capture.closed()

    def test_blocks_that_the_recorder_rebuilt_are_left_out(self):
        for options in ([], ["--synthetic", "drop"]):
            data, code, messages = export(self.rebuilt(), *options)
            self.assertEqual(code, 0)
            self.assertEqual([p.comments for _, _, p in frames(data)], [["item 2, 0x412F, COM7"]])
            self.assertIn(
                "corvane export: 1 system-information block that the recorder rebuilt is left out "
                "(--synthetic keep)",
                messages,
            )

    def test_blocks_that_the_recorder_rebuilt_can_be_kept(self):
        data = good_export(self.rebuilt(), "--synthetic", "keep")
        self.assertEqual(
            [packet.comments for _, _, packet in frames(data)],
            [["item 1, 0x412F, COM7, rebuilt by the recorder"], ["item 2, 0x412F, COM7"]],
        )


class Extras(unittest.TestCase):
    """What is shown besides signalling."""

    EVENT = struct.pack("<BHHQB", 0x60, 11, 0x2000 | 1606, made_capture.diag_stamp(START), 4)
    MESSAGE = (
        struct.pack("<BBBBQHHI", 0x79, 0, 1, 2, made_capture.diag_stamp(START), 120, 5, 4)
        + struct.pack("<I", 7)
        + b"cell %d found\nnow\0cell.cpp\0"
    )
    HASHED = struct.pack(
        "<BBBBQHHIIII", 0x92, 0, 2, 0, made_capture.diag_stamp(START), 12, 5, 9, 0x1234ABCD, 1, 0xFF
    )
    REQUEST = b"\x1d"
    REPLY = b"\x1d" + bytes(8)
    UNKNOWN = b"\x8e\x01\x02"

    def capture(self):
        capture = made_capture.MadeCapture()
        time = made_capture.item_time(START + LATER)
        capture.add_text("Port COM7 connected", time)
        add_packet(capture, 0, one_row(LTE).packet)
        capture.add(made_capture.EVENT, time, self.EVENT)
        capture.add(made_capture.MESSAGE, time, self.MESSAGE)
        capture.add(made_capture.MESSAGE, time, self.HASHED)
        capture.add(made_capture.REQUEST, time, self.REQUEST)
        capture.add(made_capture.PACKET, time, self.REPLY)
        capture.add(made_capture.PACKET, time, self.UNKNOWN)
        return capture.closed()

    def shown(self, *options):
        """What the options add to the one message."""
        found = frames(good_export(self.capture(), *options))
        return [
            (pdu.dissector, pdu.protocol, pdu.message, packet.direction, packet.comments[0])
            for name, pdu, packet in found
            if pdu.dissector != one_row(LTE).dissector
        ]

    def test_nothing_is_added_unless_asked_for(self):
        self.assertEqual(self.shown(), [])
        self.assertEqual(len(frames(good_export(self.capture()))), 1)

    def test_events_are_lines(self):
        line = b"<14>event 1606 LTE RRC state change: connected (04)"
        self.assertEqual(self.shown("--events"), [("syslog", None, line, None, "item 2, event, COM7")])
        (_, _, packet) = frames(good_export(self.capture(), "--events"))[1]
        self.assertEqual(packet.time, START * 10**6)

    def test_messages_and_texts_are_lines(self):
        lines = self.shown("--messages")
        self.assertEqual({line[0] for line in lines}, {"syslog"})
        self.assertEqual(
            [(line[2].decode(), line[4]) for line in lines],
            [
                ("<14>Port COM7 connected", "item 0, text, COM7"),
                ("<13>call manager  cell.cpp:120  cell 7 found now  (2 lost before)", "item 3, message, COM7"),
                ("<11>call manager  line 12  hash 0x1234ABCD (0x1, 0xFF)", "item 4, message, COM7"),
            ],
        )

    def test_requests_and_unknown_packets_are_bytes(self):
        self.assertEqual(
            self.shown("--requests"),
            [
                ("data", "DIAG request", self.REQUEST, UP, "item 5, request 0x1D time stamp, COM7"),
                ("data", "DIAG reply", self.REPLY, DOWN, "item 6, reply 0x1D time stamp, COM7"),
                ("data", "DIAG packet", self.UNKNOWN, DOWN, "item 7, packet 0x8E, COM7"),
            ],
        )

    def test_every_packet_can_be_shown_as_it_is(self):
        file = pcapng.read(good_export(self.capture(), "--raw"))
        raw, signalling = file.interfaces
        self.assertEqual((raw.link_type, raw.name), (147, "COM7 packets"))
        self.assertEqual(raw.options.text(pcapng.INTERFACE_DESCRIPTION), "DIAG packets of COM7")
        self.assertEqual((signalling.link_type, signalling.name), (252, "COM7"))
        packets = [packet for packet in file.packets if packet.interface == 0]
        self.assertEqual(
            [packet.data for packet in packets[1:]],
            [self.EVENT, self.MESSAGE, self.HASHED, self.REQUEST, self.REPLY, self.UNKNOWN],
        )
        self.assertEqual(packets[0].data[16:], one_row(LTE).packet[16:])
        self.assertEqual([p.direction for p in packets], [DOWN] * 4 + [UP] + [DOWN] * 2)
        self.assertEqual(packets[0].comments, ["item 1, 0xB0C0, COM7"])

    def test_what_is_in_a_wrapper_is_found_too(self):
        capture = made_capture.MadeCapture()
        wrapper = struct.pack("<BBHI", 0x98, 1, 0, 2)
        for packet in (self.MESSAGE, self.UNKNOWN):
            capture.add(made_capture.PACKET, made_capture.item_time(START), wrapper + packet)
        data = good_export(capture.closed(), "--messages", "--requests")
        shown = [(name, pdu.dissector, packet.comments) for name, pdu, packet in frames(data)]
        name = "drive.isf subscription 2"
        self.assertEqual(
            shown,
            [
                (name, "syslog", [f"item 0, message, {name}"]),
                (name, "data", [f"item 1, packet 0x8E, {name}"]),
            ],
        )
        self.assertEqual(frames(good_export(capture.closed())), [])

    def test_tshark_shows_the_lines_in_the_info_column(self):
        data = good_export(self.capture(), "--events", "--messages", "--requests", "--raw")
        found = tshark.frames_of(data, fields=["frame.interface_name"])
        self.assertFalse(any(frame.malformed for frame in found))
        lines = [frame.info for frame in found if frame.protocol == "Syslog"]
        self.assertEqual(len(lines), 4)
        self.assertRegex(lines[1], r"event 1606 LTE RRC state change: connected \(04\)$")
        names = [frame.protocol for frame in found if frame.first("frame.interface_name") == "COM7"]
        self.assertEqual(names.count("DIAG request"), 1)
        self.assertEqual(names.count("DIAG reply"), 1)
        self.assertEqual(names.count("DIAG packet"), 1)


class Unshown(unittest.TestCase):
    """What is told of messages that could not be shown."""

    def messages(self, *packets, options=()):
        capture = made_capture.MadeCapture()
        for number, packet in enumerate(packets):
            add_packet(capture, number, packet)
        _, code, messages = export(capture.closed(), *options)
        self.assertEqual(code, 0)
        return [message.removeprefix("corvane export: ") for message in messages]

    def test_all_is_well_in_one_line(self):
        self.assertEqual(self.messages(one_row(LTE).packet), ["1 message of 1 item"])

    def test_logs_of_unknown_version_or_channel_are_counted(self):
        row = one_row(LTE).packet
        version = row[:16] + b"\xc8" + row[17:]
        channel = row[:28] + b"\x63" + row[29:]
        self.assertEqual(
            self.messages(version, row, channel, version),
            [
                "1 message of 4 items",
                "1 packet is not shown: 0xB0C0 LTE RRC OTA message, version 15, channel 99",
                "2 packets are not shown: 0xB0C0 LTE RRC OTA message, version 200",
            ],
        )

    def test_packets_that_are_cut_off_are_counted(self):
        row = one_row(LTE).packet
        self.assertEqual(
            self.messages(row[:-1]),
            [
                "0 messages of 1 item",
                "1 packet is not shown: 0xB0C0 LTE RRC OTA message, version 15, cut off",
            ],
        )

    def test_encrypted_packets_are_counted_by_their_log_code(self):
        capture = made_capture.MadeCapture()
        for code in (0xB0C0, 0xB0C2):
            packet = b"\x9e" + bytes(21) + struct.pack("<H", code) + bytes(40)
            capture.add(made_capture.PACKET, made_capture.item_time(START), packet)
        self.assertEqual(
            export(capture.closed())[2],
            [
                "corvane export: 0 messages of 2 items",
                "corvane export: 1 packet is not shown: 0xB0C0 LTE RRC OTA message, encrypted",
                "corvane export: 1 log packet carries no signalling",
            ],
        )

    def test_logs_without_signalling_are_counted_in_one_line(self):
        other = made_capture.log_packet(0xB0C2, bytes(4), 0)
        another = made_capture.log_packet(0xB061, bytes(4), 0)
        message = one_row(LTE).packet
        self.assertEqual(
            self.messages(message, other),
            ["1 message of 2 items", "1 log packet carries no signalling"],
        )
        told = "3 log packets carry no signalling"
        for options in (["--format", "gsmtap"], ["--events", "--messages", "--requests"]):
            with self.subTest(options=options):
                self.assertEqual(
                    self.messages(other, another, message, another, options=options),
                    ["1 message of 4 items", told],
                )
        self.assertEqual(
            self.messages(other, another, another, options=["--raw"]),
            ["0 messages and 3 other frames of 3 items", told],
        )

    def test_parts_that_make_no_message_are_counted(self):
        first = one_row("LTE RRC version 30 segment 1").packet
        self.assertEqual(
            self.messages(first),
            [
                "0 messages of 1 item",
                "1 message lacks parts and is not shown: 0xB0C0 LTE RRC OTA message, version 30",
            ],
        )

    def test_what_gsmtap_cannot_carry_is_counted(self):
        self.assertEqual(
            self.messages(one_row(NR).packet, one_row(LTE).packet, options=["--format", "gsmtap"]),
            [
                "1 message of 2 items",
                "1 packet is not shown: 0xB821 NR RRC OTA message, version 26, the format cannot "
                "carry it",
            ],
        )


class Gsmtap(unittest.TestCase):
    CANNOT = re.compile(r"nr-rrc\.|nas-5gs|ip$|sip$")

    @classmethod
    def setUpClass(cls):
        cls.data = good_export(all_rows()[0], "--format", "gsmtap")
        cls.expected = [frame for frame in all_rows()[1] if not cls.CANNOT.match(frame.row.dissector)]

    def test_every_message_stands_in_a_datagram(self):
        link, packets = pcap.read(self.data)
        self.assertEqual(link, pcap.LINK_TYPE_IPV4)
        self.assertEqual(len(packets), len(self.expected))
        for packet, frame in zip(packets, self.expected):
            with self.subTest(what=frame.row.what):
                self.assertEqual(packet.nanoseconds, nanoseconds_of(frame.items[-1]))
                datagram = pcap.datagram(packet.data)
                self.assertEqual(datagram.ports, (4729, 4729))
                addresses = [datagram.source, datagram.destination]
                if frame.row.direction == UP:
                    addresses.reverse()
                self.assertEqual(addresses, ["192.0.2.2", "192.0.2.1"])
                self.assertTrue(datagram.payload.endswith(frame.message))
                self.check_header(datagram.payload[:16], frame.row)

    def check_header(self, header, row):
        version, words, _, slot, channel, signal, frame_number = struct.unpack(">BBBBHHI", header[:12])
        self.assertEqual((version, words, slot, signal), (2, 4, 0, 0))
        self.assertEqual(header[13:], bytes(3))
        number = int(row.fields.get("frequency", 0))
        uplink = 0x4000 if row.direction == UP else 0
        self.assertEqual(channel, (number if number < 0x4000 else 0) | uplink)
        self.assertEqual(frame_number, int(row.fields.get("frame", 0)))

    def test_tshark_shows_each_message_by_its_name(self):
        found = tshark.frames_of(self.data, preferences=PREFERENCES)
        self.assertEqual(len(found), len(self.expected))
        for shown, frame in zip(found, self.expected):
            with self.subTest(what=frame.row.what, shown=shown):
                self.assertFalse(shown.malformed)
                self.assertIn("gsmtap", shown.dissectors)
                # The lower layers that are added decide which dissector names the message.
                self.assertIn(re.sub(r"^\(\w+\) ", "", frame.row.name), shown.info)


class Output(unittest.TestCase):
    """Where the export goes, and how the program ends."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="corvane-export-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.capture = self.folder / "drive.isf"
        self.capture.write_bytes(all_rows()[0])
        self.output = self.folder / "drive.pcapng"

    def run_program(self, *arguments, **options):
        """-> exit code and messages"""
        ended = subprocess.run(
            [program(), "export", self.capture, *arguments],
            stdin=subprocess.DEVNULL,
            stdout=options.pop("stdout", subprocess.DEVNULL),
            stderr=subprocess.PIPE,
            timeout=DEADLINE,
            check=False,
            **options,
        )
        text = ended.stderr.decode("utf-8").replace(str(self.folder) + "/", "")
        return ended.returncode, text.splitlines()

    def files(self):
        return sorted(path.name for path in self.folder.iterdir())

    def test_a_file_of_that_name_comes_into_being(self):
        count = len(all_rows()[1])
        items = len(rows()) + 1
        said = [f"corvane export: {count} messages of {items} items"]
        self.assertEqual(self.run_program("-o", self.output), (0, said))
        self.assertEqual(self.output.read_bytes(), exported_rows())
        self.assertEqual(self.files(), ["drive.isf", "drive.pcapng"])

    def test_a_file_that_is_there_is_replaced_only_if_asked_for(self):
        self.output.write_bytes(b"kept")
        refused = "corvane export: drive.pcapng is there already; --overwrite replaces it"
        for option in ("-o", "-w"):
            self.assertEqual(self.run_program(option, self.output), (1, [refused]))
            self.assertEqual(self.output.read_bytes(), b"kept")
        for option in ("-o", "-w"):
            self.output.write_bytes(b"old")
            self.assertEqual(self.run_program(option, self.output, "--overwrite")[0], 0)
            self.assertEqual(self.output.read_bytes(), exported_rows())
        self.assertEqual(self.files(), ["drive.isf", "drive.pcapng"])

    def test_the_capture_itself_is_never_replaced(self):
        before = self.capture.read_bytes()
        for option in ("-o", "-w"):
            said = ["corvane export: the export would overwrite the capture drive.isf"]
            self.assertEqual(self.run_program(option, self.capture, "--overwrite"), (1, said))
            self.assertEqual(self.capture.read_bytes(), before)

    def test_a_disk_that_becomes_full_leaves_what_was_there(self):
        self.output.write_bytes(b"kept")

        def limit():  # past so many bytes the system takes no more of a file
            resource.setrlimit(resource.RLIMIT_FSIZE, (20_000, 20_000))

        code, said = self.run_program(
            "-o", self.output, "--overwrite", preexec_fn=limit, restore_signals=False
        )
        self.assertEqual(code, 1)
        self.assertEqual(said, ["corvane export: drive.pcapng cannot be written: File too large"])
        self.assertEqual(self.output.read_bytes(), b"kept")
        self.assertEqual(self.files(), ["drive.isf", "drive.pcapng"])

    def test_a_full_disk_is_told_once(self):
        said = "No space left on device"
        self.assertEqual(
            self.run_program("-w", "/dev/full"),
            (1, [f"corvane export: /dev/full cannot be written: {said}"]),
        )
        for options in ([], ["--follow"]):
            with open("/dev/full", "wb") as full:
                self.assertEqual(
                    self.run_program("-w", "-", *options, stdout=full),
                    (1, [f"corvane export: standard output cannot be written: {said}"]),
                )

    def test_standard_output_is_no_file_of_the_folder(self):
        (self.folder / "-").write_bytes(b"kept")
        for options in ([], ["--follow"]):
            with tempfile.TemporaryFile() as stdout:
                code, _ = self.run_program("-w", "-", *options, cwd=self.folder, stdout=stdout)
                stdout.seek(0)
                self.assertEqual((code, stdout.read()), (0, exported_rows()))
        self.assertEqual((self.folder / "-").read_bytes(), b"kept")

    def test_a_file_to_make_is_not_standard_output(self):
        said = "corvane export: --output: a file to make has a name: -w - writes to standard output"
        more = "corvane export --help tells more"
        self.assertEqual(self.run_program("-o", "-", cwd=self.folder), (2, [said, more]))
        self.assertEqual(self.files(), ["drive.isf"])

    def test_a_device_is_written_as_it_is(self):
        self.assertEqual(self.run_program("-o", "/dev/null")[0], 0)
        self.assertTrue(pathlib.Path("/dev/null").is_char_device())

    def test_a_pipe_whose_reader_has_gone_ends_the_export_quietly(self):
        read_end, write_end = os.pipe()
        os.close(read_end)
        with open(write_end, "wb") as pipe:
            self.assertEqual(self.run_program("-w", "-", stdout=pipe), (0, []))

    def test_a_folder_that_is_missing_is_told(self):
        said = "corvane export: missing/x.pcapng cannot be written: No such file or directory"
        for option in ("-o", "-w"):
            code, messages = self.run_program(option, self.folder / "missing" / "x.pcapng")
            self.assertEqual((code, messages), (1, [said]))

    def test_an_output_has_a_name(self):
        said = ["corvane export: the name of the output is empty", "corvane export --help tells more"]
        for arguments in (("-o", ""), ("-w", ""), ("-w", "", "--follow")):
            self.assertEqual(self.run_program(*arguments, cwd=self.folder), (2, said))
        self.assertEqual(self.files(), ["drive.isf"])

    def test_a_folder_cannot_be_the_output(self):
        said = "corvane export: {} is a folder".format(self.folder)
        self.assertEqual(self.run_program("-o", self.folder), (1, [said]))

    def test_a_capture_that_cannot_be_read_makes_no_file(self):
        self.capture.write_bytes(b"no capture")
        code, messages = self.run_program("-o", self.output)
        self.assertEqual((code, len(messages)), (1, 1))
        self.assertTrue(messages[0].startswith("corvane export: drive.isf: "), messages)
        self.capture.unlink()
        self.assertEqual(self.run_program("-o", self.output)[0], 1)
        self.assertEqual(self.files(), [])

    def test_every_good_item_of_a_damaged_capture_is_exported(self):
        damaged = bytearray(all_rows()[0])
        entry = 4 + 7 * 5  # of item 5 in the first block's directory
        damaged[entry : entry + 7] = bytes((5, 255, 255, 255, 255, 1, 0))
        self.capture.write_bytes(damaged)
        code, messages = self.run_program("-o", self.output)
        self.assertEqual(code, 1)
        comments = [packet.comments[0] for _, _, packet in frames(self.output.read_bytes())]
        expected = [frame.comment for frame in all_rows()[1] if frame.items != [5]]
        self.assertEqual(comments, expected)
        self.assertTrue(any("item 5" in text or "entry 5" in text for text in messages), messages)

    def test_a_capture_that_is_not_closed_gives_code_3(self):
        capture = made_capture.MadeCapture()
        add_packet(capture, 0, one_row(LTE).packet)
        self.capture.write_bytes(capture.unclosed())
        code, messages = self.run_program("-o", self.output)
        self.assertEqual(code, 3)
        self.assertIn("the file was not closed", messages[-1])
        self.assertEqual(len(frames(self.output.read_bytes())), 1)

    def test_wrong_usage_gives_code_2(self):
        for arguments in (
            [],
            ["-o", "x", "-w", "y"],
            ["-o", "x", "--format", "none"],
            ["-o", "x", "--clock", "none"],
            ["-o", "x", "--leap-seconds", "-1"],
            ["-o", "x", "--synthetic", "none"],
            *(
                ["-o", "x", "--format", "gsmtap", extra]
                for extra in ("--events", "--messages", "--requests", "--raw")
            ),
        ):
            with self.subTest(arguments=arguments):
                self.assertEqual(self.run_program(*arguments, cwd=self.folder)[0], 2)
        self.assertEqual(self.files(), ["drive.isf"])


if __name__ == "__main__":
    unittest.main()
