"""What `corvane capture` does before and at the start of a capture, with a simulated modem."""

from command_line_test import CommandLineTestCase
from support import isf, simulator, wine

CONFIGURATION = "<LogCodes>4125</LogCodes>"


class CaptureStart(CommandLineTestCase):
    def setUp(self):
        super().setUp()
        self.config.write_text(CONFIGURATION)

    def simulate(self, name="COM7"):
        """A modem that streams logs behind this port."""
        port = self.ports.add(name)
        modem = simulator.Simulator(port.link, *"--rate 200 --seed 1".split())
        self.addCleanup(modem.close)
        port.set_present(True)

    def finish(self, process, code=0):
        """-> what the user read until the end"""
        _, errors = process.communicate(timeout=wine.DEADLINE)
        self.assertEqual(process.returncode, code, errors)
        return errors

    def names(self):
        return sorted(path.name for path in self.files.iterdir())

    def test_an_existing_output_survives_all_but_a_better_one(self):
        self.output.write_bytes(b"an earlier capture")
        self.assert_refused(self.capture(), "is there already; --overwrite replaces it")
        # The device is never reached.
        process = self.capture("--overwrite")
        self.wait_for_line(process, "capture.isf.part, which replaces ")
        self.wait_for_line(process, "COM7 is not present")
        self.stop(process, 4)
        self.assertEqual(self.output.read_bytes(), b"an earlier capture")
        self.assertEqual(self.names(), ["capture.cfg", "capture.isf"])
        # The library refuses.
        self.assertIn(
            "the library refused to start",
            self.finish(self.capture("--overwrite", device="qmbe:missing"), 1),
        )
        self.assertEqual(self.output.read_bytes(), b"an earlier capture")
        # Something is captured.
        self.simulate()
        self.finish(self.capture("--overwrite", "--duration", "2s"))
        self.assertTrue(self.read_capture().packets(isf.LOG))
        self.assertEqual(self.names(), ["capture.cfg", "capture.isf"])

    def test_a_start_that_the_library_refuses_leaves_no_file(self):
        process = self.capture(device="{5A1B9A3C-61F0-4E0B-9D3E-0000000000AB}")
        errors = self.finish(process, 1)
        self.assertIn("QMBE:{5A1B9A3C-61F0-4E0B-9D3E-0000000000AB} names no", errors)
        self.assertEqual(self.names(), ["capture.cfg"])

    def test_names_in_any_letters_and_with_placeholders(self):
        # Cyrillic, Japanese, and a character of four bytes in UTF-8.
        config = self.files / "профиль 設定.cfg"
        config.write_text(CONFIGURATION)
        self.simulate()
        process = self.capture(
            *("--duration", "2s"),
            device=r"\\.\com7",
            config=wine.windows_path(config),
            output=wine.windows_path(self.files / "поездка 日本 \U0001f4e1 {device} {date} {time}.isf"),
        )
        self.finish(process)
        (output,) = self.files.glob("*.isf")
        self.assertRegex(
            output.name,
            r"\Aпоездка 日本 \U0001f4e1 COM7 \d{4}-\d\d-\d\d \d\d-\d\d-\d\d\.isf\Z",
        )
        capture = self.read_capture(output)
        self.assertTrue(capture.packets(isf.LOG))
        self.assertEqual(capture.texts[1], "Port COM7 connected")
        for command in (["info"], ["list"]):
            process = self.run_corvane(*command, wine.windows_path(output))
            self.finish(process)
        exported = self.files / "вывод.jsonl"
        self.finish(
            self.run_corvane(
                *("export", "--format", "jsonl", wine.windows_path(output)),
                *("-o", wine.windows_path(exported)),
            )
        )
        self.assertTrue(exported.exists())

    def test_names_are_measured_in_utf_8(self):
        self.assert_refused(
            self.capture(output="ж" * 128 + ".isf"),
            "the path of the capture file has 260 bytes in UTF-8; at most 259 are possible",
        )

    def test_the_one_diag_port_is_found(self):
        self.simulate("COM12")
        self.finish(self.capture("--duration", "2s", device="Auto"))
        self.assertEqual(self.read_capture().texts[1], "Port COM12 connected")
        self.ports.add("COM3").set_present(True)
        self.output.unlink()
        self.assert_refused(
            self.capture(device="auto"),
            "several ports may be the DIAG port: COM3 (DIAG port 0002), COM12 (DIAG port 0001)",
            code=2,
        )
        self.assertFalse(self.output.exists())

    def test_wrong_usage_is_told_before_anything_is_done(self):
        self.assert_refused(
            self.capture("--profile", "signalling"), "either --config or --profile", code=2
        )
        self.assert_refused(
            self.capture(output="{day}.isf"),
            "{day} is none of {date}, {time} and {device}",
            code=2,
        )
        self.assert_refused(
            self.capture(output="COM7.isf"),
            "COM7.isf is no name of a file: Windows has reserved COM7 for a device",
            code=2,
        )
