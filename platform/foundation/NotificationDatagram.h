// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/DistributedNotificationCenter.h"

#include <string>
#include <string_view>
#include <variant>

namespace foundation {

/// The datagram that says it; its format stands at `DistributedNotificationCenter`.
std::string datagramOf(const DistributedNotification& notification);

/// Why a datagram says nothing.
struct MalformedDatagram {
    std::string reason;
};

std::variant<DistributedNotification, MalformedDatagram> notificationOf(std::string_view datagram);

} // namespace foundation
