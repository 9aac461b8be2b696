#!/usr/bin/env python3
"""Sums the results of a test run: scripts/totals.py PRESET...

Reads build/<preset>/ctest.xml (one entry a test program) and build/<preset>/test-results/*.xml (one
entry a test case) and prints one line. Exits with 1 when anything failed or left no result.
"""

import pathlib
import sys
import xml.etree.ElementTree as ElementTree

BUILD = pathlib.Path(__file__).resolve().parent.parent / "build"


def attribute_sum(root, *names):
    """The sum of counting attributes of a JUnit root element; missing ones count as 0."""
    return sum(int(root.get(name, "0")) for name in names)


def main(presets):
    programs = failed_programs = cases = failed_cases = skipped_cases = 0
    per_preset = []
    for preset in presets:
        run = ElementTree.parse(BUILD / preset / "ctest.xml").getroot()
        programs += attribute_sum(run, "tests")
        failed_programs += attribute_sum(run, "failures", "errors")
        preset_cases = 0
        for result in sorted((BUILD / preset / "test-results").glob("*.xml")):
            root = ElementTree.parse(result).getroot()
            preset_cases += attribute_sum(root, "tests")
            failed_cases += attribute_sum(root, "failures", "errors")
            skipped_cases += attribute_sum(root, "skipped", "disabled")
        if preset_cases == 0:
            failed_programs += 1
        cases += preset_cases
        per_preset.append(f"{preset} {preset_cases}")
    passed = cases - failed_cases - skipped_cases
    print(
        f"{cases} tests ({', '.join(per_preset)}) in {programs} programs: "
        f"{passed} passed, {failed_cases} failed, {skipped_cases} skipped, "
        f"{failed_programs} programs failed"
    )
    return 1 if failed_cases or failed_programs else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
