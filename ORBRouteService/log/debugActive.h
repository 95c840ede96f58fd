// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>

namespace orb {

/// Whether a developer wants to look closely at this process. Set once at the start, by the main thread;
/// every line is logged whatever it says.
inline std::atomic<bool> debugActive{true};

} // namespace orb
