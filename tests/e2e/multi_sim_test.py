"""corvane.dll against a simulated modem with two SIMs, whose logs come in wrappers."""

import simulated_modem_test
from support import isf, wine
from support.recording import DEVICE_TYPES

UNWRAPPING = "<LogCodes>412F</LogCodes> two SIMs: <MultiSim> unwrap </MultiSim>"


class CaptureOfAModemWithTwoSims(simulated_modem_test.RebuildingTestCase):
    def capture(self, *arguments):
        """Captures until the stream has ended and was read. -> the simulator, the capture"""
        modem = self.simulate("--subscriptions", "2", "--rate", "max", *arguments)
        self.start()
        modem.wait_event("stream-end")
        # A reply that comes behind all that was streamed, and is stored as it is.
        modem.command("send 0c0102030405060708")
        wine.wait_until(lambda: self.ends_with(bytes.fromhex("0c0102030405060708")), "the last reply")
        self.stop()
        self.assertEqual(modem.close(), 0)
        return modem, self.read_capture()

    def expected_subscriptions(self, modem):
        """The subscription of each packet of the modem, as the last wrapper before it told."""
        current, subscriptions = 1, []
        for line in modem.packets("tx"):
            if line["crc"] == "good":
                current = line.get("subscription", current)
                subscriptions += [current] * (1 + len(line.get("blocks", [])))
        return subscriptions

    def test_each_packet_is_kept_and_each_sim_rebuilt_alone(self):
        self.config.write_text(UNWRAPPING)
        modem, capture = self.capture(*"--seed 11 --scenario sib --count 2500".split())
        rebuilt = self.assert_rebuilt(modem, capture.items)
        self.assertGreater(len(rebuilt), 50)
        # The texts say whose each packet is: exactly where that changes, beginning from 1.
        current, told = 1, []
        for item in capture.items:
            if item.type in DEVICE_TYPES:
                told.append(current)
            elif item.type == isf.INFORMATION and item.text.startswith("Subscription "):
                number = int(item.text.removeprefix("Subscription "))
                self.assertNotEqual(number, current)
                current = number
        self.assertEqual(told, self.expected_subscriptions(modem))
        self.assertEqual(set(told), {1, 2})

    def test_without_the_setting_no_log_is_kept(self):
        self.config.write_text("<LogCodes>412F</LogCodes>")
        modem, capture = self.capture(*"--seed 12 --count 300".split())
        self.assertTrue(any("wrapped" in line for line in modem.packets("tx")))
        self.assertEqual(capture.packets(isf.LOG, isf.SHORT_LOG, isf.SIGNALLING_LOG), [])
        self.assertFalse(any(text.startswith("Subscription") for text in capture.texts))
