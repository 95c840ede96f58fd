// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/devices/LMNDeviceCodable.h"

#include <vector>

namespace orb {

/// The answer to `UpdateDevices`: the devices that are routed now, an array of device objects. The order has
/// no meaning; whoever makes it lists each device once.
using ORBUpdateDevicesReply = std::vector<LMNDeviceCodable>;

} // namespace orb
