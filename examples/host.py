"""Records from a modem until Enter is pressed.

    python host.py DEVICE CONFIG OUTPUT          python host.py COM7 wcdma-signalling.cfg drive.isf

corvane.dll lies beside this file, or CORVANE_DLL names it. Python has to be a 64-bit one.
"""

import contextlib
import ctypes
import locale
import os
import pathlib
import sys

LONGEST_NAMES = {"device": 63, "configuration": 259, "output": 259}


def load():
    """The library, with the types of its functions: without them ctypes takes a bool for an int."""
    path = os.environ.get("CORVANE_DLL", pathlib.Path(__file__).resolve().parent / "corvane.dll")
    library = ctypes.CDLL(str(path))
    library.CorvaneStart.argtypes = [ctypes.c_char_p] * 3
    library.CorvaneStart.restype = ctypes.c_bool
    library.CorvaneStop.argtypes = []
    library.CorvaneStop.restype = None
    return library


@contextlib.contextmanager
def capture(library, device, config, output):
    """A running capture: ends however the "with" is left, Ctrl-C included. One at a time."""
    names = dict(zip(LONGEST_NAMES, (device, config, output)))
    # The library takes 8-bit strings in the process's ANSI code page.
    encoded = {what: name.encode(locale.getencoding()) for what, name in names.items()}
    for what, name in encoded.items():
        # It never cuts a name: one that is too long would end the process.
        if len(name) > LONGEST_NAMES[what]:
            raise ValueError(f"the name of the {what} is too long")
    if not library.CorvaneStart(*encoded.values()):
        raise RuntimeError("the capture did not start")
    try:
        yield
    finally:
        # A process that ends without this (os._exit, a closed console window) leaves a file without
        # index and trailer. The tools still read it, as one that was not closed.
        library.CorvaneStop()


def main():
    if len(sys.argv) != 4:
        print("usage: host.py DEVICE CONFIG OUTPUT", file=sys.stderr)
        return 2
    # The library prints its diagnostics on the process's standard output, past sys.stdout. Whoever
    # has redirected that to a pipe has to read the pipe all the while: once it is full, the capture
    # waits.
    try:
        with capture(load(), *sys.argv[1:]):
            print(f"Capturing into {sys.argv[3]}. Enter ends it.", file=sys.stderr)
            sys.stdin.readline()
    except KeyboardInterrupt:
        pass
    except (OSError, ValueError, RuntimeError) as error:
        print(error, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
