// SPDX-License-Identifier: MIT
#include "platform/lmn/LMNDeviceManager.h"

#include "platform/foundation/PathName.h"
#include "platform/lmn/LMNLog.h"

#include <fmt/format.h>
#include <boost/json.hpp>

#include <stdexcept>
#include <utility>

namespace lmn {
namespace {

namespace json = boost::json;

constexpr std::uint32_t maximumChannels = 32;
constexpr std::string_view configFileName = "device.json";

json::object encode(const LMNVirtualDeviceConfig& config) {
    return {{"version", 1},
            {"uid", config.deviceUID},
            {"name", config.name},
            {"hidden", config.hidden},
            {"airPlay", config.isAirPlay},
            {"inputChannels", config.inputChannels},
            {"outputChannels", config.outputChannels}};
}

/// Throws std::exception naming what is wrong.
LMNVirtualDeviceConfig decode(const json::value& value) {
    const json::object& object = value.as_object();
    if (object.at("version").as_int64() != 1)
        throw std::invalid_argument("unknown version");
    LMNVirtualDeviceConfig config{.name = std::string(object.at("name").as_string()),
                                  .deviceUID = std::string(object.at("uid").as_string()),
                                  .hidden = object.at("hidden").as_bool(),
                                  .isAirPlay = object.at("airPlay").as_bool(),
                                  .inputChannels = object.at("inputChannels").to_number<std::uint32_t>(),
                                  .outputChannels = object.at("outputChannels").to_number<std::uint32_t>()};
    if (config.deviceUID.empty() || config.inputChannels > maximumChannels ||
        config.outputChannels > maximumChannels)
        throw std::invalid_argument("no UID, or more than 32 channels");
    return config;
}

} // namespace

LMNDeviceManager::LMNDeviceManager(const foundation::RuntimeDirectory& runtimeDirectory,
                                   dispatch::Queue& mainQueue)
    : directory_(runtimeDirectory.subdirectory("devices")), mainQueue_(mainQueue) {}

std::shared_ptr<LMNDevice> LMNDeviceManager::deviceWithDeviceUID(std::string_view uid, bool input) {
    try {
        const foundation::JsonFile file(directory_.path() / foundation::pathComponentOf(uid) /
                                        configFileName);
        const std::optional<json::value> stored = file.read();
        if (!stored)
            return nullptr;
        const LMNVirtualDeviceConfig config = decode(*stored);
        {
            const dispatch::LockGuard guard(lock_);
            if (config.hidden && !allowed_.contains(uid))
                return nullptr;
        }
        return (input ? config.inputChannels : config.outputChannels) > 0 ? open(config) : nullptr;
    } catch (const std::exception& error) {
        LMNLog(4, fmt::format("LMNDeviceManager: device \"{}\": {}\n", uid, error.what()));
        return nullptr;
    }
}

void LMNDeviceManager::allowHiddenDevice(std::string_view uid) {
    const dispatch::LockGuard guard(lock_);
    allowed_.emplace(uid);
}

std::string LMNDeviceManager::archiveForDevice(const LMNDevice& device) const {
    return json::serialize(encode(device.config()));
}

std::string LMNDeviceManager::archiveFromConfig(const LMNVirtualDeviceConfig& config, bool) const {
    return json::serialize(encode(config));
}

std::shared_ptr<LMNDevice> LMNDeviceManager::deviceFromArchive(std::string_view archive) {
    try {
        return open(decode(foundation::parseJsonText(archive, "device archive")));
    } catch (const std::exception& error) {
        LMNLog(4, fmt::format("LMNDeviceManager: cannot restore a device: {}\n", error.what()));
        return nullptr;
    }
}

std::shared_ptr<LMNDevice> LMNDeviceManager::open(const LMNVirtualDeviceConfig& config) {
    const dispatch::LockGuard guard(lock_);
    std::shared_ptr<LMNDevice>& device = devices_[config.deviceUID];
    if (!device) {
        foundation::RuntimeDirectory directory = directory_.subdirectory(config.deviceUID);
        foundation::JsonFile(directory.path() / configFileName).replace(encode(config));
        device = std::make_shared<LMNDevice>(config, std::move(directory), mainQueue_);
    }
    return device;
}

} // namespace lmn
