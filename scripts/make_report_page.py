"""Makes the page of `corvane report` a part of the program: make_report_page.py FOLDER LICENCE OUTPUT.cpp

FOLDER has page.html, page.css, page.js and uplot/; LICENCE is the library's. The page's own style
and scripts are put in, and its Content-Security-Policy allows these alone, by their hashes. What is
left are the places that a capture fills: {{name}}.
"""

import base64
import hashlib
import html
import pathlib
import re
import sys

PLACE = re.compile(r"\{\{(@?[a-z-]+)\}\}")
VERSION = re.compile(r"uPlot \(v([0-9.]+)\)")
# How much a literal may hold: compilers need not take more than 64 KiB.
MOST_BYTES = 8192
LINE = 90


def text_of(path):
    return path.read_text(encoding="utf-8")


def checked(text, what, end):
    """The text, unless it would end its element early."""
    if end in text.lower() or "<!--" in text:
        sys.exit(f"{what}: {end} or <!-- cannot stand in it")
    return text


def source_hash(text):
    digest = base64.b64encode(hashlib.sha256(text.encode("utf-8")).digest()).decode("ascii")
    return f"'sha256-{digest}'"


def fixed_parts(folder, licence):
    """What takes the places {{@name}}."""
    library = checked(text_of(folder / "uplot/uPlot.iife.min.js"), "the library", "</script")
    script = checked(text_of(folder / "page.js"), "page.js", "</script")
    style = checked(
        text_of(folder / "uplot/uPlot.min.css") + "\n" + text_of(folder / "page.css"), "the style", "</style"
    )
    policy = (
        "default-src 'none'; img-src data:; base-uri 'none'; form-action 'none'; "
        f"style-src {source_hash(style)}; script-src {source_hash(library)} {source_hash(script)}"
    )
    return {
        "@library": library,
        "@script": script,
        "@style": style,
        "@policy": policy,
        "@library-version": VERSION.search(library).group(1),
        "@library-licence": html.escape(text_of(licence)),
    }


def pieces(template, parts):
    """The page as (place, text) in turn: what stands there, and what fills the place behind it."""
    found, text, end = [], "", 0
    for place in PLACE.finditer(template):
        text += template[end : place.start()]
        end = place.end()
        if place.group(1).startswith("@"):
            text += parts[place.group(1)]
        else:
            found.append((text, place.group(1)))
            text = ""
    found.append((text + template[end:], ""))
    return found


def literals(text):
    """C++ string literals that are the text together, as lines; no escape goes on into a digit."""
    escapes = {"\n": "\\n", "\\": "\\\\", '"': '\\"', "?": "\\?"}
    line = ""
    for character in text:
        code = character.encode("utf-8")
        plain = character if len(code) == 1 and character.isprintable() else "".join(f"\\{byte:03o}" for byte in code)
        line += escapes.get(character, plain)
        if len(line) >= LINE or character == "\n":
            yield f'"{line}"'
            line = ""
    yield f'"{line}"'


def strings(text):
    """The text as views, each of a literal that every compiler takes."""
    data = [text[start : start + MOST_BYTES // 4] for start in range(0, len(text), MOST_BYTES // 4)]
    for part in data or [""]:
        yield "\n      ".join(literals(part))


def main():
    folder, licence, output = (pathlib.Path(argument) for argument in sys.argv[1:4])
    lines = []
    for text, place in pieces(text_of(folder / "page.html"), fixed_parts(folder, licence)):
        views = list(strings(text))
        for view in views[:-1]:
            lines.append(f'    {{{view}, ""}},\n')
        lines.append(f'    {{{views[-1]}, "{place}"}},\n')
    output.write_text(
        '#include "corvane/report/report_page.h"\n\nnamespace corvane::tools {\nnamespace {\n\n'
        "constexpr sPagePiece kPieces[] = {\n" + "".join(lines) + "};\n\n}  // namespace\n\n"
        "std::span<const sPagePiece> PagePieces() { return kPieces; }\n\n}  // namespace corvane::tools\n",
        encoding="utf-8",
    )


if __name__ == "__main__":
    main()
