// SPDX-License-Identifier: MIT
#include "platform/lmn/LMNDeviceArchive.h"

#include <boost/json.hpp>

namespace lmn {
namespace {

namespace json = boost::json;

constexpr std::uint32_t maximumChannels = 32;

LMNVirtualDeviceConfig decode(const json::object& object) {
    return {.name = std::string(object.at("name").as_string()),
            .deviceUID = std::string(object.at("uid").as_string()),
            .hidden = object.at("hidden").as_bool(),
            .isAirPlay = object.at("airPlay").as_bool(),
            .inputChannels = object.at("inputChannels").to_number<std::uint32_t>(),
            .outputChannels = object.at("outputChannels").to_number<std::uint32_t>()};
}

} // namespace

json::object archiveOf(const LMNVirtualDeviceConfig& config) {
    return {{"version", 1},
            {"uid", config.deviceUID},
            {"name", config.name},
            {"hidden", config.hidden},
            {"airPlay", config.isAirPlay},
            {"inputChannels", config.inputChannels},
            {"outputChannels", config.outputChannels}};
}

LMNVirtualDeviceConfig configOfArchive(const json::value& archive) {
    LMNVirtualDeviceConfig config;
    try {
        const json::object& object = archive.as_object();
        if (object.at("version").as_int64() != 1)
            throw LMNDeviceArchiveError("unknown version");
        config = decode(object);
    } catch (const LMNDeviceArchiveError&) {
        throw;
    } catch (const std::exception& error) {
        throw LMNDeviceArchiveError(error.what());
    }
    if (config.deviceUID.empty() || config.inputChannels > maximumChannels ||
        config.outputChannels > maximumChannels)
        throw LMNDeviceArchiveError("no UID, or more than 32 channels");
    return config;
}

LMNVirtualDeviceConfig configOfArchive(std::string_view archive) {
    try {
        return configOfArchive(foundation::parseJsonText(archive, "device archive"));
    } catch (const foundation::JsonFileError& error) {
        throw LMNDeviceArchiveError(error.what());
    }
}

} // namespace lmn
