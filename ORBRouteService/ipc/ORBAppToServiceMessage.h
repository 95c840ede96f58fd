// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/devices/LMNDeviceCodable.h"

#include "platform/foundation/coding/TaggedUnion.h"

#include <set>
#include <string_view>
#include <tuple>
#include <variant>

namespace orb {

/// The parent wants exactly these devices routed. Answered by an `ORBUpdateDevicesReply` or an error.
struct UpdateDevices {
    static constexpr std::string_view caseName = "updateDevices";
    std::set<LMNDeviceCodable> devices;

    bool operator==(const UpdateDevices&) const = default;
};

/// What the parent asks of the service.
using ORBAppToServiceMessage = std::variant<UpdateDevices>;

} // namespace orb

template <>
struct foundation::Coding<orb::UpdateDevices> : foundation::StructCoding<orb::UpdateDevices> {
    static constexpr std::tuple fields{Field{"devices", &orb::UpdateDevices::devices}};
};
