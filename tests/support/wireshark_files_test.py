"""The tests' own tools for Wireshark files: what they write tshark reads, and what is wrong is refused."""

import io
import struct
import unittest

from wireshark import exported_pdu, pcapng, tshark

SECOND = 1_000_000_000

# LTE RRC (3GPP TS 36.331): a release with the cause "other", and one octet of a connection request.
RELEASE = bytes.fromhex("2802")
CUT_REQUEST = bytes.fromhex("50")


def written():
    stream = io.BytesIO()
    writer = pcapng.Writer(stream)
    first = writer.add_interface(exported_pdu.LINK_TYPE, "COM7")
    second = writer.add_interface(exported_pdu.LINK_TYPE, "COM8 ü")
    release = exported_pdu.write("lte_rrc.dl_dcch", RELEASE, sent=False)
    writer.packet(first, 1_700_000_000 * SECOND + 1, release, pcapng.INBOUND, "malformed? no")
    request = exported_pdu.write("lte_rrc.ul_ccch", CUT_REQUEST, sent=True, protocol="mine")
    writer.packet(second, 1_700_000_001 * SECOND, request)
    return stream.getvalue()


class WiresharkFiles(unittest.TestCase):
    def test_what_is_written_is_read_back(self):
        file = pcapng.read(written())
        self.assertEqual([found.name for found in file.interfaces], ["COM7", "COM8 ü"])
        self.assertEqual([found.link_type for found in file.interfaces], [252, 252])
        first, second = file.packets
        self.assertEqual(file.nanoseconds(first), 1_700_000_000 * SECOND + 1)
        self.assertEqual((first.direction, first.comments), (pcapng.INBOUND, ["malformed? no"]))
        self.assertEqual((second.direction, second.comments), (None, []))
        pdu = exported_pdu.read(second.data)
        self.assertEqual((pdu.dissector, pdu.protocol), ("lte_rrc.ul_ccch", "mine"))
        self.assertEqual((pdu.direction, pdu.message), (exported_pdu.SENT, CUT_REQUEST))

    def test_tshark_reads_what_is_written(self):
        names = ("frame.interface_name", "frame.time_epoch", "frame.comment")
        first, second = tshark.frames_of(written(), fields=names)
        self.assertEqual(first.info, "RRCConnectionRelease [cause=other]")
        self.assertEqual(first.first("frame.time_epoch"), "1700000000.000000001")
        self.assertEqual(first.all("frame.comment"), ["malformed? no"])
        self.assertEqual((first.malformed, first.complaints), (False, []))
        self.assertEqual(second.first("frame.interface_name"), "COM8 ü")
        self.assertTrue(second.malformed)
        self.assertEqual(second.complaints, ["Malformed Packet (Exception occurred)"])

    def test_a_display_filter_leaves_the_other_frames_out(self):
        found = tshark.frames_of(written(), only="lte-rrc.rrcConnectionRelease_element")
        self.assertEqual([frame.first("frame.number") for frame in found], ["1"])
        with self.assertRaises(tshark.Failed):
            tshark.frames_of(written(), only="no such filter")

    def test_a_damaged_file_is_refused(self):
        data = written()
        for cut in range(1, len(data)):
            if pcapng.whole_blocks(data[:cut]) != cut:
                with self.assertRaises(pcapng.Malformed):
                    pcapng.read(data[:cut])
        # Both lengths of a block, the byte order, and the type of the second block.
        for offset in (4, len(data) - 4, 8, 28):
            damaged = bytearray(data)
            damaged[offset] ^= 0xFF
            with self.subTest(offset=offset), self.assertRaises(pcapng.Malformed):
                pcapng.read(bytes(damaged))

    def test_a_frame_without_the_end_of_its_tags_is_refused(self):
        frame = exported_pdu.write("data", b"", sent=True)
        for end in range(len(frame)):
            with self.assertRaises(exported_pdu.Malformed):
                exported_pdu.read(frame[:end])
        twice = struct.pack(">HHHH", 12, 0, 12, 0) + frame[-4:]
        with self.assertRaises(exported_pdu.Malformed):
            self.assertIsNone(exported_pdu.read(twice).dissector)


if __name__ == "__main__":
    unittest.main()
