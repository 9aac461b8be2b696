"""The commands that the documents tell a reader to run."""

import re

from sandbox import ROOT


def commands(document, heading):
    """The first block of commands behind a heading of a document in docs/."""
    text = (ROOT / "docs" / document).read_text(encoding="utf-8")
    _, found, below = text.partition(f"\n{heading}\n")
    if not found:
        raise AssertionError(f"{document} has no {heading!r}")
    return re.search(r"^```sh\n(.*?)^```$", below, re.DOTALL | re.MULTILINE)[1]
