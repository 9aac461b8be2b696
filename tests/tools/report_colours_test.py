"""The colours of the page of corvane report, as its style has them."""

import pathlib
import re
import unittest


def luminance(colour):
    """of "#rrggbb", as the Web Content Accessibility Guidelines 2 define it"""
    parts = [int(colour[place : place + 2], 16) / 255 for place in (1, 3, 5)]
    red, green, blue = (
        part / 12.92 if part <= 0.04045 else ((part + 0.055) / 1.055) ** 2.4 for part in parts
    )
    return 0.2126 * red + 0.7152 * green + 0.0722 * blue


def contrast(one, other):
    darker, lighter = sorted((luminance(one), luminance(other)))
    return (lighter + 0.05) / (darker + 0.05)


class Contrast(unittest.TestCase):
    """Of the colours of the style, in both themes."""

    # What is read, on what it stands on.
    TEXT = {
        "page": {"text", "faint", "link", "good", "bad", "odd", "up", "down"},
        "panel": {"text", "faint"},
        "good-page": {"good", "text"},
        "bad-page": {"bad", "text"},
        "odd-page": {"odd", "text", "faint", "up", "down"},
    }
    GRAPHICS = {"bar", *(f"c{number}" for number in range(8))}

    @classmethod
    def setUpClass(cls):
        root = pathlib.Path(__file__).resolve().parents[2]
        cls.style = (root / "tools/corvane/report/page.css").read_text(encoding="utf-8")
        found = re.findall(
            r"^  --([\w-]+): var\(--light, (#\w{6})\) var\(--dark, (#\w{6})\);$", cls.style, re.MULTILINE
        )
        cls.themes = [
            {name: light for name, light, _ in found},
            {name: dark for name, _, dark in found},
        ]

    def test_is_computed_as_published(self):
        self.assertAlmostEqual(contrast("#000000", "#ffffff"), 21)
        self.assertAlmostEqual(contrast("#777777", "#ffffff"), 4.48, places=2)

    def test_no_colour_is_left_out(self):
        read = set(re.findall(r"(?<![\w-])color: var\(--([\w-]+)\)", self.style))
        self.assertEqual(read, set().union(*self.TEXT.values()))
        behind = set(re.findall(r"background: var\(--([\w-]+)\)", self.style))
        self.assertEqual(behind, {*self.TEXT, "bar"})
        self.assertEqual(set(self.themes[0]), read | behind | self.GRAPHICS | {"line"})

    def test_of_text_is_four_and_a_half(self):
        for colours in self.themes:
            for ground, texts in self.TEXT.items():
                for text in texts:
                    with self.subTest(text=text, on=ground, page=colours["page"]):
                        self.assertGreaterEqual(contrast(colours[text], colours[ground]), 4.5)

    def test_of_curves_is_three(self):
        for colours in self.themes:
            for curve in self.GRAPHICS:
                with self.subTest(curve=curve, page=colours["page"]):
                    self.assertGreaterEqual(contrast(colours[curve], colours["page"]), 3)


if __name__ == "__main__":
    unittest.main()
