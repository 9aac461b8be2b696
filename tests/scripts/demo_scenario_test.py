"""scripts/mobile-broadband.scenario answers what the profile of scripts/demo.sh --mbn asks."""

import json
import os
import pathlib
import struct
import subprocess
import unittest

from sandbox import DEADLINE, ROOT

PROGRAM = pathlib.Path(os.environ["CORVANE_PROGRAMS"]) / "corvane"
PROFILE = ROOT / "profiles" / "data-call.cfg"
LOG_MASKS = 0x73
SET_MASK = 3


def statements():
    """-> the words of each line"""
    text = (ROOT / "scripts" / "mobile-broadband.scenario").read_text(encoding="utf-8")
    return [line.split() for line in text.splitlines() if line and not line.startswith("#")]


class MobileBroadbandScenario(unittest.TestCase):
    def test_the_last_request_of_the_profile_starts_the_traffic(self):
        check = ["profile", "check", "--json", PROFILE]
        told = subprocess.run(
            [PROGRAM, *check], stdout=subprocess.PIPE, check=True, timeout=DEADLINE
        ).stdout
        last = json.loads(told)["requests"]["all"] - 1  # the scenario counts from 0
        steps = [words[2:4] for words in statements() if words[:2] == ["at", "command"]]
        self.assertEqual(steps, [["*", "reply"], [str(last), "reply"], [str(last), "packets"]])

    def test_a_log_mask_is_answered_as_accepted(self):
        # An echo would have the equipment ID where a reply has its status.
        replies = {words[1]: bytes.fromhex(words[2]) for words in statements() if words[0] == "reply"}
        command, operation, status = struct.unpack("<3I", replies["0x73"])
        self.assertEqual((command, operation, status), (LOG_MASKS, SET_MASK, 0))


if __name__ == "__main__":
    unittest.main()
