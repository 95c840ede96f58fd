// SPDX-License-Identifier: MIT
#include "ORBRouteService/devices/DeviceRestoreError.h"

namespace orb {

DeviceRestoreError::DeviceRestoreError(const std::optional<std::string>& name)
    : std::runtime_error(name ? "The device “" + *name + "” cannot be restored."
                              : "A device cannot be restored.") {}

} // namespace orb
