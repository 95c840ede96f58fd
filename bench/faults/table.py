# SPDX-License-Identifier: MIT
"""The fault matrix: what goes wrong, and what people can count on then."""

import dataclasses
from collections.abc import Callable

from bench.faults import clocks, crowds, deaths, resources


@dataclasses.dataclass(frozen=True)
class Row:
    """One fault. `check` makes it happen in a home and gives the figures; it raises Broken if the promise fails."""

    name: str
    promise: str
    check: Callable


ROWS = (
    Row("parent-killed", "the service ends within 200 ms with status 0; the rooms' files are whole up to then",
        deaths.parentKilled),
    Row("service-killed", "orbctl says so; other jobs play on; the rooms' files can be read but for their last second",
        deaths.serviceKilled),
    Row("player-killed", "the service goes on; the next player is heard from its first frame", deaths.playerKilled),
    Row("parent-stopped", "for 5 s: the rooms fall silent together and go on where they were; not a frame is lost",
        deaths.parentStopped),
    Row("service-stopped", "for 5 s: the rooms fall silent together and go on in step; two chunks at most are lost",
        deaths.serviceStopped),
    Row("player-stopped", "for 5 s: the room falls silent and goes on where it was; not a frame is lost",
        deaths.playerStopped),
    Row("disk-full-rooms", "the room whose file cannot grow is named, its file readable; the other room is exact",
        resources.fullUnderRooms),
    Row("disk-full-settings", "orbctl says so; not a byte of the settings is lost; playing goes on",
        resources.fullUnderPreferences),
    Row("disk-full-reports", "orbctl names report and log, and ends with status 1; playing is not touched",
        resources.fullUnderReports),
    Row("disk-full-runtime", "what plays goes on, exact; what is to start says why it cannot",
        resources.fullUnderRuntime),
    Row("runtime-unusable", "missing, a file, open to others, read-only: both programs name it and end at once",
        resources.unusableRuntime),
    Row("runtime-removed", "what plays goes on, exact", resources.lostRuntime),
    Row("descriptors-service", "what plays goes on, exact; whoever comes has to wait; that is told once in a while",
        resources.noDescriptorsInService),
    Row("descriptors-parent", "with too few orbctl says so and leaves nothing; with enough it plays",
        resources.noDescriptorsInParent),
    Row("log-unread", "sound and requests go on; the service ends as ever", resources.unreadLog),
    Row("clock-playing", "the wall clock jumps by an hour, either way: the sound is exact and not moved",
        clocks.whilePlaying),
    Row("clock-connecting", "... while a receiver is awaited: it takes as long as ever, and so does giving it up",
        clocks.whileConnecting),
    Row("clock-asking", "... while a question is open: the answer counts when it is given", clocks.whileAsking),
    Row("clock-parent", "... while a service looks for its parent: 30 s as ever", clocks.whileWaitingForParent),
    Row("clock-pause", "... while the user pauses: shown as the end after two minutes as ever", clocks.afterPause),
    Row("requests-flood", "thousands of requests, no two alike: each gets one answer; memory does not grow",
        crowds.manyRequests),
    Row("player-floods", "what it sends is heard exactly, at its own speed; memory does not grow",
        crowds.pressingPlayer),
    Row("group-of-64", "64 rooms play in step, alike to the sample", crowds.largeGroup),
    Row("picker-of-64", "of 64 rows the wanted one plays and no other", crowds.largePicker),
    Row("latency-long", "6 s, longer than what ends a sound: heard to its last frame", crowds.longLatency),
    Row("jobs-200", "200 jobs in a row leave nothing: processes, sockets, files, descriptors, memory",
        crowds.manyJobs),
)
