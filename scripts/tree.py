# SPDX-License-Identifier: MIT
"""The C++ sources of the tree, for every check that walks over them."""

import os
import pathlib
import sys

FOLDERS = ("cmake", "platform", "ORBRouteService", "orbctl", "bench", "fuzz", "tests")


def root():
    """The tree to judge: the first argument, or else the one this script belongs to."""
    return pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else os.path.dirname(__file__) + "/..").resolve()


def sources(base):
    """Paths relative to base, with forward slashes, sorted."""
    found = (path for folder in FOLDERS for path in (base / folder).rglob("*.*"))
    return sorted(path.relative_to(base).as_posix() for path in found if path.suffix in (".h", ".cpp"))


def report(check, violations):
    """Prints what is wrong, one line each, and ends the program with the fitting status."""
    for line in violations:
        print(line, file=sys.stderr)
    print(f"{check}: {len(violations)} violation(s)" if violations else f"{check}: clean")
    sys.exit(1 if violations else 0)


if __name__ == "__main__":
    print("\n".join(sources(root())))
