#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Holds packaging/orbctl.1 to what orbctl itself says: commands, options, exit statuses, variables.

Usage: manual_page_test.py SOURCE-DIRECTORY ORBCTL
"""

import pathlib
import re
import subprocess
import sys
import unittest

ORBCTL = sys.argv.pop(2)
MANUAL = (pathlib.Path(sys.argv.pop(1)) / "packaging/orbctl.1").read_text()
SYNOPSIS = MANUAL[MANUAL.index(".Sh SYNOPSIS"):MANUAL.index(".Sh DESCRIPTION")]


def helpOf(*command):
    return subprocess.run([ORBCTL, *command, "--help"], capture_output=True, text=True, check=True, timeout=30).stdout


def section(text, title):
    return re.search(rf"^{title}:\n(.*?)(?:\n\n|\Z)", text, re.MULTILINE | re.DOTALL)[1]


class ManualPage(unittest.TestCase):
    def testTheSynopsisHasEachCommandWithItsOptions(self):
        written = {command: set(re.findall(r"\.(?:Op )?Fl -([a-z]+)", text))
                   for command, text in re.findall(r"\.Cm ([a-z-]+)\n(.*?)(?=\.Nm|\Z)", SYNOPSIS, re.DOTALL)}
        commands = re.findall(r"^  ([a-z-]+) ", section(helpOf(), "Subcommands"), re.MULTILINE)
        options = {command: set(re.findall(r"^  --([a-z]+)", helpOf(command), re.MULTILINE)) for command in commands}
        self.assertEqual(options, written)

    def testExitStatusesAndVariablesAreShown(self):
        text = helpOf()
        for name in re.findall(r"^  (\w+) ", section(text, "Exit status") + "\n" + section(text, "Environment"),
                               re.MULTILINE):
            self.assertRegex(MANUAL, rf"\n\.It (?:Ev )?{name}\n")


if __name__ == "__main__":
    unittest.main()
