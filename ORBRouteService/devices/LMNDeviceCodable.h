// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/coding/StructCoding.h"

#include <compare>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <tuple>

namespace lmn {
class LMNDevice;
}

namespace orb {

/// A device as it crosses between the service and its parent. A value; any thread. What goes to and from a
/// device works by `LMNDeviceManager::sharedDeviceManager()`.
struct LMNDeviceCodable {
    foundation::Data data; // the device manager's archive, opaque here
    std::optional<std::string> name;

    /// The archive, and the device's name without the name of this process in it. There must be a device
    /// manager.
    static LMNDeviceCodable from(const lmn::LMNDevice& device);

    /// The device of the archive, created if it does not exist, and usable by this process though it be
    /// hidden. Throws DeviceRestoreError when the archive is none, or there is no device manager.
    std::shared_ptr<lmn::LMNDevice> toLMNDevice() const;

    /// For people: the name, else the display name of the device of the archive, else "Unknown Device". The
    /// second is as `toLMNDevice`.
    std::string description() const;

    bool operator==(const LMNDeviceCodable&) const = default;
    std::strong_ordering operator<=>(const LMNDeviceCodable&) const = default;
};

} // namespace orb

template <>
struct foundation::Coding<orb::LMNDeviceCodable> : foundation::StructCoding<orb::LMNDeviceCodable> {
    static constexpr std::tuple fields{Field{"data", &orb::LMNDeviceCodable::data},
                                       Field{"name", &orb::LMNDeviceCodable::name}};
};

template <>
struct std::hash<orb::LMNDeviceCodable> {
    std::size_t operator()(const orb::LMNDeviceCodable& device) const noexcept;
};
