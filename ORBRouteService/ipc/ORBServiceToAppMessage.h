// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/devices/LMNDeviceCodable.h"

#include "platform/foundation/coding/TaggedUnion.h"

#include <set>
#include <string_view>
#include <tuple>
#include <variant>

namespace orb {

struct DeviceConnected {
    static constexpr std::string_view caseName = "deviceConnected";
    LMNDeviceCodable device;

    bool operator==(const DeviceConnected&) const = default;
};

struct DeviceWasDisconnected {
    static constexpr std::string_view caseName = "deviceWasDisconnected";
    LMNDeviceCodable device;

    bool operator==(const DeviceWasDisconnected&) const = default;
};

/// The service begins to connect these.
struct DeviceConnecting {
    static constexpr std::string_view caseName = "deviceConnecting";
    std::set<LMNDeviceCodable> devices;

    bool operator==(const DeviceConnecting&) const = default;
};

/// What the service tells the parent by itself; nobody answers.
using ORBServiceToAppMessage = std::variant<DeviceConnected, DeviceWasDisconnected, DeviceConnecting>;

} // namespace orb

template <>
struct foundation::Coding<orb::DeviceConnected> : foundation::StructCoding<orb::DeviceConnected> {
    static constexpr std::tuple fields{Field{"device", &orb::DeviceConnected::device}};
};

template <>
struct foundation::Coding<orb::DeviceWasDisconnected> : foundation::StructCoding<orb::DeviceWasDisconnected> {
    static constexpr std::tuple fields{Field{"device", &orb::DeviceWasDisconnected::device}};
};

template <>
struct foundation::Coding<orb::DeviceConnecting> : foundation::StructCoding<orb::DeviceConnecting> {
    static constexpr std::tuple fields{Field{"devices", &orb::DeviceConnecting::devices}};
};
