// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/devices/LMNDeviceCodable.h"

#include "platform/foundation/coding/URL.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>

namespace orb {

/// A launch configuration that cannot be read. The text says why, and never shows the configuration.
class LaunchConfigError final : public std::runtime_error {
  public:
    explicit LaunchConfigError(const std::string& reason) : std::runtime_error(reason) {}
};

/// What the parent application tells its service on the command line. The ports are named from the parent's
/// side. A value; any thread.
struct ORBRouteServiceLaunchConfig {
    std::int32_t pid = 0;    // of the parent; only ever logged
    foundation::URL bundle;  // the parent's, which the service adopts
    LMNDeviceCodable device; // into which the parent plays
    bool supportsGroupedAirPlay = false;
    std::string localPort;  // where the parent listens
    std::string remotePort; // where the service listens

    /// Reads Base64 of JSON, strictly. Throws LaunchConfigError.
    static ORBRouteServiceLaunchConfig fromArgument(std::string_view argument);

    /// The argument that says this.
    std::string argument() const;

    /// For the log: `ORBRouteServiceLaunchConfig(pid: 812, bundle: file:///…, device: Kitchen, …)`.
    std::string description() const;

    bool operator==(const ORBRouteServiceLaunchConfig&) const = default;
};

} // namespace orb

template <>
struct foundation::Coding<orb::ORBRouteServiceLaunchConfig>
    : foundation::StructCoding<orb::ORBRouteServiceLaunchConfig> {
    using Config = orb::ORBRouteServiceLaunchConfig;
    static constexpr std::tuple fields{Field{"pid", &Config::pid},
                                       Field{"bundle", &Config::bundle},
                                       Field{"device", &Config::device},
                                       Field{"supportsGroupedAirPlay", &Config::supportsGroupedAirPlay},
                                       Field{"localPort", &Config::localPort},
                                       Field{"remotePort", &Config::remotePort}};
};
