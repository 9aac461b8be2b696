#!/usr/bin/env python3
"""Runs one module of end-to-end tests.

run.py --programs FOLDER --results FILE.xml MODULE [TEST...]

FOLDER holds the Windows programs. FILE.xml gets one entry a test case, as the unit tests' result
files have. TEST is a name as unittest takes it: Class or Class.test.
"""

import argparse
import importlib
import pathlib
import sys

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "support"))
sys.path.insert(0, str(HERE))

import recorded_run  # noqa: E402  (needs the path above)
from support import environment  # noqa: E402


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("--programs", type=pathlib.Path, required=True)
    arguments.add_argument("--results", type=pathlib.Path, required=True)
    arguments.add_argument("module")
    arguments.add_argument("tests", nargs="*")
    options = arguments.parse_args()

    environment.programs = options.programs.resolve()
    module = importlib.import_module(options.module)
    try:
        return recorded_run.run(module, options.tests, options.results)
    finally:
        environment.close()


if __name__ == "__main__":
    sys.exit(main())
