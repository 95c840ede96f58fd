// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/picker/waiting/awaitResult.h"

#include <functional>

namespace orb {

/// Waits as long as `condition()` answers true: it names the state to be waited out. Deadline, sleeps and
/// errors as for `awaitResult`; an answer of false that comes after the deadline is a time-out too.
dispatch::Task<> awaitCondition(WaitLimits limits, std::function<dispatch::Task<bool>()> condition);

} // namespace orb
