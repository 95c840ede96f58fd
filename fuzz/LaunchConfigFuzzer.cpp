// SPDX-License-Identifier: MIT
// The service's argument: whatever it says is read or refused, and what was read, written again, reads the
// same.
#include "ORBRouteService/ORBRouteServiceLaunchConfig.h"

#include "fuzz/Fuzzing.h"
#include "platform/foundation/coding/Base64.h"

namespace {

using orb::ORBRouteServiceLaunchConfig;

auto read(std::string_view argument) {
    return fuzz::parsed<orb::LaunchConfigError>(
        [&] { return ORBRouteServiceLaunchConfig::fromArgument(argument); });
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(fuzz::textOf(data, size));
    read(text);
    if (const auto config = read(foundation::base64(foundation::Data{text}))) {
        ORB_CHECK(read(config->argument()) == *config, "{}", config->argument());
        static_cast<void>(config->bundle.filePath());
    }
    return 0;
}
