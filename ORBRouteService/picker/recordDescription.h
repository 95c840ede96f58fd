// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/devices/LMNDeviceAccessors.h"

#include "platform/foundation/coding/Data.h"

#include <map>
#include <string>

namespace orb {

/// For the log: `["deviceid": "A1:B2:C3:D4:E5:F6", "tsid": "7"]`; empty: `[:]`.
std::string recordDescription(const TxtRecord& record);

/// As above, bytes by their number: `["AirPlayTXTRecord": 40 bytes]`.
std::string recordDescription(const std::map<std::string, foundation::Data>& properties);

} // namespace orb
