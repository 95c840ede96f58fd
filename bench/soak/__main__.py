# SPDX-License-Identifier: MIT
"""Plays for as long as is asked, under changing load, and judges at the end.

Usage: python3 -m bench.soak MINUTES. Works in build/soak/, where soak.json is the result; the log stays beside it.
"""

import json
import sys
import time

from bench.faults.home import ROOT, Home
from bench.faults.processes import Broken, adoptOrphans
from bench.soak.run import Soak

SHORTEST = 0.5  # minutes in which every kind of change comes at least once
LONGEST = 360  # minutes that fit the length of a WAV stream


def minutes():
    try:
        asked = float(sys.argv[1])
    except (IndexError, ValueError):
        sys.exit("usage: python3 -m bench.soak MINUTES")
    if not SHORTEST <= asked <= LONGEST:
        sys.exit(f"a soak takes from {SHORTEST} to {LONGEST} minutes")
    return asked


def soak(length):
    """The result: what was measured, and what does not hold."""
    with Home(ROOT / "build/soak") as home:
        run = Soak(home, length * 60)
        try:
            run.play()
            return run.result()
        except Broken as fault:
            return {"faults": [str(fault)]}


if __name__ == "__main__":
    adoptOrphans()
    begun = time.time()
    result = {"minutes": minutes(), "begun": time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(begun))} | soak(minutes())
    result["holds"] = not result["faults"]
    (ROOT / "build/soak/soak.json").write_text(json.dumps(result, indent=2) + "\n", encoding="utf-8")
    print(json.dumps(result, indent=2))
    print("holds" if result["holds"] else "BROKEN: " + "; ".join(result["faults"]))
    sys.exit(0 if result["holds"] else 1)
