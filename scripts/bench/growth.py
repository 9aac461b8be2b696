"""Measures how the cost of an item grows with the items that a file has, and the memory that it takes."""

import tempfile

from commands import cost
from library import row

MAKER = "build/bench/bin/large_capture"
ITEMS = (10_000, 100_000, 1_000_000, 10_000_000)


def make(items):
    """-> seconds of the processor an item, and the most memory in bytes"""
    with tempfile.TemporaryDirectory(prefix="corvane-growth-") as folder:
        seconds, memory = cost([MAKER, f"{folder}/capture.isf", str(items)])
    return seconds / items, memory


def best(items):
    """Of as many runs as make a million items, but 1 to 30."""
    runs = [make(items) for _ in range(min(30, max(1, 1_000_000 // items)))]
    return min(cost for cost, _ in runs), max(memory for _, memory in runs)


def main():
    least, _ = best(ITEMS[0])
    for items in ITEMS[1:]:
        cost, memory = best(items)
        row(
            f"items stored a second, {items:,} items in one file",
            f"with {ITEMS[0]:,} items",
            least / cost,
            "at least 0.9",
            f"{memory / 1e6:.0f} MB of memory",
        )


if __name__ == "__main__":
    main()
