// SPDX-License-Identifier: MIT
#pragma once

#include <boost/json/value.hpp>

#include <memory>
#include <optional>
#include <string_view>

namespace lmn {

class LMNDevice;
class LMNDeviceManager;

/// Whether a device has a volume of its own; a boolean.
inline constexpr std::string_view LMNDeviceHasVolumeKey = "hasVolume";

/// The overrides of a device as they are stored, by the device's reference. A value; any thread.
class LMNDeviceOverrides {
  public:
    /// nullopt when there is no such device.
    static std::optional<LMNDeviceOverrides> withDeviceReference(LMNDeviceManager& manager,
                                                                 std::string_view reference);

    std::optional<boost::json::value> valueForKey(std::string_view key) const;

  private:
    explicit LMNDeviceOverrides(std::shared_ptr<LMNDevice> device) : device_(std::move(device)) {}

    std::shared_ptr<LMNDevice> device_;
};

} // namespace lmn
