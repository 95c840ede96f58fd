// SPDX-License-Identifier: MIT
#pragma once

#include "bench/mirrorlab/LabOptions.h"

namespace mirrorlab {

/// Exit statuses, after the convention of sysexits.h.
enum ExitStatus : int {
    exitPerfect = 0,
    exitImperfect = 1, // the sound that came out was not what went in
    exitUsage = 64,
    exitBadData = 65,  // a sound file or a receivers file that cannot be used
    exitSoftware = 70, // the run itself failed
    exitCannotCreate = 73,
};

/// Plays, measures and reports. Problems are told on standard error.
ExitStatus run(const LabOptions& options);

} // namespace mirrorlab
