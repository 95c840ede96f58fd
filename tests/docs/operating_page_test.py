#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Holds docs/OPERATING.md to the sources: each failure that is logged has its row, each row is logged somewhere, and
the environment variables are those of the sources.

Usage: operating_page_test.py SOURCE-DIRECTORY
"""

import pathlib
import re
import sys
import unittest

ROOT = pathlib.Path(sys.argv.pop(1))
PAGE = (ROOT / "docs/OPERATING.md").read_text()
SOURCES = {path: path.read_text() for folder in ("ORBRouteService", "platform", "orbctl")
           for path in sorted((ROOT / folder).rglob("*")) if path.suffix in (".h", ".cpp")}

FAILURE = r"\b(?:(?:ORBDebugLog|LMNLog|put)\((?:clock_\.wallNow\(\),)?\s*4,|report\w*(?:\(\))?\()"
MILESTONE = r"\b(?:ORBDebugLog|LMNLog)\(\s*1,"
TOKEN = re.compile(r'(?:"(?:\\.|[^"\\])*"\s*)+|[()]|[^"()]+')


def literals(text, start):
    """The string literals of the call whose parenthesis is open at `start`; adjacent ones are one."""
    depth = 1
    for token in TOKEN.finditer(text, start):
        depth += {"(": 1, ")": -1}.get(token[0], 0)
        if depth == 0:
            return
        if token[0].startswith('"'):
            parts = re.findall(r'"((?:\\.|[^"\\])*)"', token[0])
            yield "".join(parts).replace(r"\n", "").replace(r"\"", '"')


def logged(calls):
    """(file, text) of what is logged; texts without words of their own pass on the words of others."""
    for path, text in SOURCES.items():
        for call in re.finditer(calls, text):
            for literal in literals(text, call.end()):
                if re.search("[a-z]{3}", re.sub(r"\{[^}]*\}", "", literal)):
                    yield path.relative_to(ROOT), literal


def matches(literal, row):
    """Whether the row has the words of the literal, in their order."""
    pieces = (piece.strip() for piece in re.split(r"\{[^}]*\}", literal))
    return re.search(".*".join(map(re.escape, filter(None, pieces))), row) is not None


ROWS = re.findall(r"^\| `([^`]+)` \|", PAGE[PAGE.index("## The log"):PAGE.index("## Errors")], re.MULTILINE)


class OperatingPage(unittest.TestCase):
    def testEachFailureThatIsLoggedHasARow(self):
        failures = list(logged(FAILURE))
        self.assertGreater(len(failures), 40)
        for path, literal in failures:
            with self.subTest(path=path, literal=literal):
                self.assertTrue(any(matches(literal, row) for row in ROWS))

    def testEachRowIsLoggedSomewhere(self):
        texts = [literal for _, literal in logged(f"{FAILURE}|{MILESTONE}")]
        for row in ROWS:
            with self.subTest(row=row):
                self.assertTrue(any(matches(literal, row) for literal in texts))

    def testTheEnvironmentVariablesAreThoseOfTheSources(self):
        names = {name for text in SOURCES.values()
                 for name in re.findall(r'"((?:(?:ORB|XDG|GIRDER)_[A-Z_]+|HOME)(?==|"))', text)}
        shown = re.findall(r"`([A-Z_]+)`", PAGE[PAGE.index("## Environment"):PAGE.index("## Exit status")])
        self.assertEqual(names, set(shown))


if __name__ == "__main__":
    unittest.main()
