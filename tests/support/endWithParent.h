// SPDX-License-Identifier: MIT
#pragma once

#include <sys/prctl.h>

#include <csignal>

namespace support {

/// For the other program of a test, first of all: it is killed when the test ends without ending it, even if
/// it is stopped.
inline void endWithParent() { ::prctl(PR_SET_PDEATHSIG, SIGKILL); }

} // namespace support
