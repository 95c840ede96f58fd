// SPDX-License-Identifier: MIT
// The archive of a device: a device that can be made of it is archived as the same one.
#include "fuzz/Fuzzing.h"
#include "platform/lmn/LMNDeviceArchive.h"

#include <boost/json/serialize.hpp>

#include <tuple>

namespace {

using namespace lmn;

auto fieldsOf(const LMNVirtualDeviceConfig& config) {
    const auto& [name, uid, hidden, isAirPlay, inputs, outputs] = config;
    return std::tie(name, uid, hidden, isAirPlay, inputs, outputs);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view archive = fuzz::textOf(data, size);
    const auto config = fuzz::parsed<LMNDeviceArchiveError>([&] { return configOfArchive(archive); });
    if (config) {
        ORB_CHECK(!config->deviceUID.empty(), "no UID");
        ORB_CHECK(config->inputChannels <= 32 && config->outputChannels <= 32, "{} in, {} out",
                  config->inputChannels, config->outputChannels);
        const std::string again = boost::json::serialize(archiveOf(*config));
        ORB_CHECK(fieldsOf(configOfArchive(again)) == fieldsOf(*config), "{}", again);
    }
    return 0;
}
