// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/devices/LMNDeviceAccessors.h"

#include <optional>
#include <string>
#include <string_view>

namespace orb {

/// What the UID of every virtual device that stands for an AirPlay output begins with.
inline constexpr std::string_view ORBDeviceUIDPrefix = "com.fernwick.Orbweaver::";

/// The UID of the virtual device of an output: the prefix and an identifier. That is the group's ("tsid",
/// else "psgid", both as they stand) for an output in a group (one with a "gid"); else the MAC address that
/// the TXT record tells ("deviceid"), made compatible; else `macAddress` as it stands.
std::string ORBDeviceUID(const TxtRecord& txtRecord, const std::optional<std::string>& macAddress);

/// Upper case, with a colon after every second character unless there is one anywhere already: "a1b2c3"
/// becomes "A1:B2:C3". Characters are those that a person sees; case is that of no particular language. A
/// text that is no UTF-8 is taken byte by byte, and only its ASCII letters change.
std::string ORBCompatibleMacAddressString(std::string_view text);

} // namespace orb
