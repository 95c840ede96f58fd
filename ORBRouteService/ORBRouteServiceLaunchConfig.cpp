// SPDX-License-Identifier: MIT
#include "ORBRouteService/ORBRouteServiceLaunchConfig.h"

#include "platform/foundation/coding/Base64.h"
#include "platform/foundation/coding/DecodingError.h"
#include "platform/foundation/coding/JSONCoder.h"

#include <fmt/format.h>

namespace orb {

ORBRouteServiceLaunchConfig ORBRouteServiceLaunchConfig::fromArgument(std::string_view argument) {
    const std::optional<foundation::Data> json = foundation::dataFromBase64(argument);
    if (!json) {
        throw LaunchConfigError("it is not Base64");
    }
    try {
        return foundation::decodeJSON<ORBRouteServiceLaunchConfig>(json->bytes);
    } catch (const foundation::DecodingError& error) {
        throw LaunchConfigError(error.what());
    }
}

std::string ORBRouteServiceLaunchConfig::argument() const {
    return foundation::base64(foundation::Data{foundation::encodeJSON(*this)});
}

std::string ORBRouteServiceLaunchConfig::description() const {
    return fmt::format(
        "ORBRouteServiceLaunchConfig(pid: {}, bundle: {}, device: {}, supportsGroupedAirPlay: {}, localPort: "
        "\"{}\", "
        "remotePort: \"{}\")",
        pid, bundle.absoluteString(), device.description(), supportsGroupedAirPlay, localPort, remotePort);
}

} // namespace orb
