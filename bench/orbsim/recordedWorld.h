// SPDX-License-Identifier: MIT
#pragma once

#include "bench/orbsim/World.h"

#include "ORBRouteService/log/flight/FlightEvent.h"

#include <vector>

namespace orbsim {

/// A world in which what was done to a recorded service is done again, at the same times: requests, players,
/// settings, volumes, receivers that were lost. All receivers are well otherwise; one stands for each device.
/// Throws WorldError when nothing was recorded that could be done again.
World recordedWorld(const std::vector<orb::FlightEvent>& recorded);

} // namespace orbsim
