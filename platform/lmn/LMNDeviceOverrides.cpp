// SPDX-License-Identifier: MIT
#include "platform/lmn/LMNDeviceOverrides.h"

#include "platform/lmn/LMNDeviceManager.h"

namespace lmn {

std::optional<LMNDeviceOverrides> LMNDeviceOverrides::withDeviceReference(LMNDeviceManager& manager,
                                                                          std::string_view reference) {
    std::shared_ptr<LMNDevice> device = manager.deviceWithDeviceUID(reference, false);
    return device ? std::optional(LMNDeviceOverrides(std::move(device))) : std::nullopt;
}

std::optional<boost::json::value> LMNDeviceOverrides::valueForKey(std::string_view key) const {
    return device_->overrideForKey(key);
}

} // namespace lmn
