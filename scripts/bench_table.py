#!/usr/bin/env python3
"""Shows what was measured beside its goals: scripts/bench_table.py [--write DOCUMENT] SCRIPT...

Runs each script, which prints rows, one JSON object a line:

  what   what was measured
  limit  what it was measured beside, in the same run and on the same data
  ratio  a number: the one in terms of the other
  goal   "at least NUMBER", "at most NUMBER", or "" for a figure that is only stated
  note   what else is to be known; may be missing

Prints one table for each script. --write puts the tables into the document as well, where it says
`<!-- figures: NAME -->` and `<!-- end of figures -->` for a script NAME.py: what stands between them is
replaced. A document that has no such place for a script is an error.

The exit code is 1 when a script fails or prints no row. A goal that is missed is shown, and is no error: a busy machine
measures badly."""

import argparse
import json
import os
import pathlib
import re
import subprocess
import sys

HEADINGS = ("What", "Beside", "Ratio", "Goal", "", "Note")


def reached(ratio, goal):
    """-> whether the goal is reached; None without a goal"""
    if not goal:
        return None
    bound, number = re.fullmatch(r"at (least|most) ([\d.]+)", goal).groups()
    return ratio >= float(number) if bound == "least" else ratio <= float(number)


def shown(ratio):
    return f"{ratio:.2f}" if ratio < 100 else f"{ratio:.0f}"


def cells(row):
    verdict = {None: "", True: "reached", False: "missed"}[reached(row["ratio"], row["goal"])]
    return (row["what"], row["limit"], shown(row["ratio"]), row["goal"], verdict, row.get("note", ""))


def markdown(rows):
    """-> the rows as a table of a document"""
    lines = [HEADINGS, ("---", "---", "--:", "---", "---", "---"), *map(cells, rows)]
    return "".join("| " + " | ".join(line) + " |\n" for line in lines)


def aligned(rows):
    """-> the rows as a table for a terminal"""
    lines = [HEADINGS, *map(cells, rows)]
    widths = [max(len(line[column]) for line in lines) for column in range(len(HEADINGS))]
    return "".join(
        "  ".join(cell.ljust(width) for cell, width in zip(line, widths)).rstrip() + "\n" for line in lines
    )


def machine():
    with open("/proc/cpuinfo", encoding="utf-8") as information:
        model = re.search(r"^model name\s*: (.*)$", information.read(), re.MULTILINE)
    name = model.group(1).strip() if model else os.uname().machine
    return f"{name}, {os.cpu_count()} processors, Linux {os.uname().release.split('-')[0]}"


def replace(document, name, table):
    """Puts the table where the document has a place for it."""
    text = document.read_text(encoding="utf-8")
    place = re.compile(rf"(<!-- figures: {re.escape(name)} -->\n).*?(<!-- end of figures -->)", re.DOTALL)
    filled, places = place.subn(lambda found: found[1] + table + found[2], text)
    if places != 1:
        raise SystemExit(f"{document} has {places} places for the figures of {name}")
    document.write_text(filled, encoding="utf-8")


def measure(script):
    """-> the rows that a script prints"""
    run = subprocess.run([sys.executable, script], stdout=subprocess.PIPE, check=False)
    if run.returncode != 0:
        raise SystemExit(f"{script}: exit code {run.returncode}")
    rows = [json.loads(line) for line in run.stdout.decode().splitlines()]
    if not rows:
        raise SystemExit(f"{script}: measured nothing")
    return rows


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--write", metavar="DOCUMENT", type=pathlib.Path)
    parser.add_argument("scripts", metavar="SCRIPT", nargs="+", type=pathlib.Path)
    wanted = parser.parse_args()
    print(machine())
    for script in wanted.scripts:
        rows = measure(script)
        print(f"\n{script.stem}\n{aligned(rows)}", end="", flush=True)
        if wanted.write:
            replace(wanted.write, script.stem, f"\n{machine()}.\n\n{markdown(rows)}\n")


if __name__ == "__main__":
    main()
