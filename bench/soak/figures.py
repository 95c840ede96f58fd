# SPDX-License-Identifier: MIT
"""Whether what a process takes stays the same."""

from bench.faults import proc

WARM_UP = 0.1  # of the time, in which memory finds its size
SHARE = 0.02  # by which memory may differ then
ALLOWANCE = 128  # KiB on top: some pages, that come and go


class Ledger:
    """The resident memory and the descriptors of one process, as often as it was looked at."""

    def __init__(self, name, pid):
        self.name = name
        self.pid = pid
        self.resident = []
        self.open = []

    def look(self):
        self.resident.append(proc.residentKiB(self.pid))
        self.open.append(proc.descriptors(self.pid))

    def quarters(self, values):
        """The first and the last quarter of what came after the warm-up."""
        steady = values[int(len(values) * WARM_UP):]
        quarter = max(len(steady) // 4, 1)
        return steady[:quarter], steady[-quarter:]

    def faults(self):
        """What is not flat.

        Memory: the greatest of the last quarter may be above the greatest of the first by 2 % and 128 KiB.
        Descriptors: the least of the last quarter may not be above the least of the first; jobs beside come and go,
        so that the least is what stays.
        """
        first, last = self.quarters(self.resident)
        most = max(first) * (1 + SHARE) + ALLOWANCE
        found = [f"{self.name}: memory rose from {max(first)} to {max(last)} KiB"] if max(last) > most else []
        first, last = self.quarters(self.open)
        if min(last) > min(first):
            found.append(f"{self.name}: descriptors rose from {min(first)} to {min(last)}")
        return found

    def summary(self):
        first, last = self.quarters(self.resident)
        opened, left = self.quarters(self.open)
        return {"looks": len(self.resident), "residentKiB": {"firstQuarter": max(first), "lastQuarter": max(last)},
                "descriptors": {"firstQuarter": min(opened), "lastQuarter": min(left)}}
