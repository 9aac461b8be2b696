"""corvane-modem-sim --scenario signalling: every message is what tshark says it is, and corvane
exports all of them."""

import io
import pathlib
import struct
import tempfile
import unittest

import signalling_logs
from signalling_story import corvane, raw_stream, section, told_story
from wireshark import exported_pdu, pcapng, tshark

# After so many times the story has been told in all layouts; it has about 400 packets.
CYCLES = 22
PACKETS = CYCLES * 420


def shown(message):
    """A message of the report as the independent reader has it."""
    return message["dissector"], message["uplink"], message["hex"]


class SignallingScenario(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.sent = told_story("--count", str(PACKETS), "--mix", "log=70,event=30")
        cls.logs = [entry for entry in cls.sent if entry["kind"] == "log"]

    def told_messages(self):
        for entry in self.logs:
            for key in ("message", "completes"):
                if key in entry:
                    yield entry[key]

    def test_every_log_of_the_profile_but_one_is_told(self):
        told = {struct.unpack_from("<H", bytes.fromhex(entry["hex"]), 6)[0] for entry in self.logs}
        wanted = {int(code, 16) for code in section("LogCodes")}
        # The direction of 5GMM containers is not known.
        self.assertEqual(wanted - told, {0xB814})
        self.assertEqual(told - wanted, set())

    def test_all_versions_of_the_rrc_logs_are_told(self):
        packets = [bytes.fromhex(entry["hex"]) for entry in self.logs]
        lte = {packet[16] for packet in packets if packet[6:8] == b"\xc0\xb0"}
        nr = {packet[16] for packet in packets if packet[6:8] == b"\x21\xb8"}
        self.assertEqual(sorted(lte), signalling_logs.LTE_VERSIONS)
        self.assertEqual(sorted(nr), signalling_logs.NR_VERSIONS)

    def test_the_packets_hold_the_messages_that_the_report_tells(self):
        part, blocks, seen = None, signalling_logs.BlockJoin(), 0
        for entry in self.logs:
            message = signalling_logs.message_of(bytes.fromhex(entry["hex"]))
            found = completed = None
            if message is None:
                pass
            elif message.segment == signalling_logs.WHOLE:
                self.assertIsNone(part)
                found = (message.dissector, message.uplink, message.data.hex())
            elif message.segment == signalling_logs.LAST:
                data = part.data + message.data
                completed, part = (message.dissector, message.uplink, data.hex()), None
            else:
                self.assertIsNone(part)
                part = message
            if message is not None and message.dissector == "rrc.bcch.bch":
                for sib_type, block in blocks.take(message.data):
                    name = f"rrc.si.sib{sib_type}" if sib_type else "rrc.si.mib"
                    completed = (name, False, block.hex())
            for key, value in (("message", found), ("completes", completed)):
                self.assertEqual(shown(entry[key]) if key in entry else None, value, entry)
                seen += value is not None
        self.assertGreater(seen, PACKETS // 2)

    def test_tshark_shows_every_message_as_the_report_says(self):
        messages = {}
        for message in self.told_messages():
            messages[shown(message)] = message
        stream = io.BytesIO()
        writer = pcapng.Writer(stream)
        interface = writer.add_interface(exported_pdu.LINK_TYPE, "simulator")
        for number, message in enumerate(messages.values()):
            data = bytes.fromhex(message["hex"])
            frame = exported_pdu.write(message["dissector"], data, sent=message["uplink"])
            writer.packet(interface, number, frame)
        frames = tshark.frames_of(stream.getvalue())
        self.assertEqual(len(frames), len(messages))
        self.assertGreater(len(frames), 200)
        for message, frame in zip(messages.values(), frames):
            with self.subTest(**message):
                self.assertEqual(frame.info.strip(), message["shows"])
                self.assertFalse(frame.malformed)
                self.assertEqual(frame.complaints, [])
                self.assertNotIn(frame.dissectors[1:2], ([], ["data"]))

    def test_events_of_the_story_come_with_their_payload(self):
        states = [
            bytes.fromhex(event)[13:]
            for entry in self.sent
            for event in entry.get("events", [])
            if struct.unpack_from("<H", bytes.fromhex(event), 3)[0] & 0xFFF == 1606
        ]
        self.assertEqual({state.hex() for state in states}, {"01", "02", "03", "04", "07"})

    def test_a_seed_tells_the_same_again(self):
        again = told_story("--count", "800", "--mix", "log=70,event=30")
        self.assertEqual(again[-800:], [entry for entry in self.sent[: len(again)]][-800:])

    def test_corvane_exports_every_message_in_its_order(self):
        with tempfile.TemporaryDirectory(prefix="corvane-signalling-") as folder:
            capture, output = pathlib.Path(folder) / "story.isf", pathlib.Path(folder) / "story.pcapng"
            corvane("import", "-", "-o", capture, given=raw_stream(self.sent))
            corvane("export", capture, "-o", output)
            file = pcapng.read(output.read_bytes())
        found = []
        for packet in file.packets:
            pdu = exported_pdu.read(packet.data)
            uplink = pdu.direction == exported_pdu.SENT
            self.assertEqual(packet.direction, pcapng.OUTBOUND if uplink else pcapng.INBOUND)
            found.append((pdu.dissector, uplink, pdu.message.hex()))
        self.assertEqual(found, [shown(message) for message in self.told_messages()])


if __name__ == "__main__":
    unittest.main()
