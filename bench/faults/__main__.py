# SPDX-License-Identifier: MIT
"""Runs the fault matrix, or the named rows of it. Each row works in build/faults/<row>/, which is kept if it breaks."""

import shutil
import subprocess
import sys
import time

from bench.faults.home import ROOT, Home
from bench.faults.processes import Broken, Skipped, adoptOrphans
from bench.faults.table import ROWS

FAULTS_OF_TRYING = (OSError, ValueError, LookupError, subprocess.SubprocessError)


def verdictOf(row):
    """The word for it, and what was measured."""
    try:
        with Home(ROOT / "build/faults" / row.name) as home:
            measured = row.check(home)
        shutil.rmtree(home.directory)
        return "holds", measured
    except Skipped as reason:
        return "SKIPPED", str(reason)
    except Broken as fault:
        return "BROKEN", f"{fault} (build/faults/{row.name}/)"
    except FAULTS_OF_TRYING as error:
        return "BROKEN", f"{type(error).__name__}: {error} (build/faults/{row.name}/)"


def run(rows):
    """How many rows did not hold."""
    broken = 0
    for row in rows:
        begin = time.monotonic()
        verdict, measured = verdictOf(row)
        broken += verdict == "BROKEN"
        print(f"{row.name:20} {verdict:8} {time.monotonic() - begin:5.0f} s  {measured}", flush=True)
    print(f"{len(rows)} rows, {broken} broken")
    return broken


def chosen(names):
    unknown = set(names) - {row.name for row in ROWS}
    if unknown:
        listed = "\n".join(f"  {row.name:20} {row.promise}" for row in ROWS)
        sys.exit(f"no such row: {', '.join(sorted(unknown))}; there are\n{listed}")
    return [row for row in ROWS if not names or row.name in names]


if __name__ == "__main__":
    adoptOrphans()
    sys.exit(1 if run(chosen(sys.argv[1:])) else 0)
