"""Makes the C++ tables of the field's names: make_names.py DATA-FOLDER OUTPUT.cpp

Reads log-codes.tsv, event-ids.tsv and ssids.tsv, and checks what the code relies on: ascending
numbers, each log code and event once, keys of lower-case words and hyphens, each key once.
"""

import csv
import pathlib
import re
import sys

KEY = re.compile(r"[a-z0-9]+(-[a-z0-9]+)*")


def rows(path, columns):
    """The rows of a table as dictionaries; its columns have to be these."""
    with open(path, encoding="utf-8", newline="") as file:
        reader = csv.DictReader(file, delimiter="\t", quoting=csv.QUOTE_NONE)
        if tuple(reader.fieldnames) != columns:
            sys.exit(f"{path}: the columns are {reader.fieldnames}, not {columns}")
        for row in reader:
            if None in row or None in row.values():
                sys.exit(f"{path}:{reader.line_num}: not {len(columns)} columns")
            yield row


def number(path, text, limit):
    value = int(text, 0)
    if not 0 <= value <= limit:
        sys.exit(f"{path}: {text} is out of range")
    return value


def check_ascending(path, numbers):
    for before, after in zip(numbers, numbers[1:]):
        if before >= after:
            sys.exit(f"{path}: {after} follows {before}")


def literal(text):
    """A C++ string literal."""
    if not text.isascii() or not text.isprintable():
        sys.exit(f"{text!r}: names are printable ASCII")
    return '"' + text.replace("\\", "\\\\").replace('"', '\\"') + '"'


def log_codes(path):
    found = [
        (number(path, row["code"], 0xFFFF), row["key"], row["name"])
        for row in rows(path, ("code", "key", "name", "sources"))
    ]
    check_ascending(path, [code for code, _, _ in found])
    keys = [key for _, key, _ in found]
    for key in keys:
        if not KEY.fullmatch(key) or keys.count(key) > 1:
            sys.exit(f"{path}: {key!r} is no key, or there twice")
    return [f"{{0x{code:04X}, {literal(key)}, {literal(name)}}}" for code, key, name in found]


def events(path):
    found = [(number(path, row["id"], 0xFFF), row["name"]) for row in rows(path, ("id", "name"))]
    check_ascending(path, [event for event, _ in found])
    return [f"{{{event}, {literal(name)}}}" for event, name in found]


def ssids(path):
    found = []
    for row in rows(path, ("first", "last", "name", "basis")):
        first, last = (number(path, row[column], 0xFFFF) for column in ("first", "last"))
        if first > last:
            sys.exit(f"{path}: {first} to {last} is no range")
        found.append((first, last, row["name"]))
    found.sort(key=lambda ssid: ssid[:2])
    return [f"{{{first}, {last}, {literal(name)}}}" for first, last, name in found]


def table(type_name, function, lines):
    body = "".join(f"    {line},\n" for line in lines)
    return (
        f"std::span<const {type_name}> {function}() {{\n"
        f"  static constexpr {type_name} kTable[] = {{\n{body}  }};\n"
        "  return kTable;\n}\n"
    )


def main():
    data, output = (pathlib.Path(argument) for argument in sys.argv[1:3])
    parts = (
        '#include "describe/names.h"\n\nnamespace corvane {\n',
        table("sLogCodeName", "LogCodeNames", log_codes(data / "log-codes.tsv")),
        table("sEventName", "EventNames", events(data / "event-ids.tsv")),
        table("sSsidName", "SsidNames", ssids(data / "ssids.tsv")),
        "}  // namespace corvane\n",
    )
    output.write_text("\n".join(parts), encoding="utf-8")


if __name__ == "__main__":
    main()
