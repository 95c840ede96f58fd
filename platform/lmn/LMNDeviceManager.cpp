// SPDX-License-Identifier: MIT
#include "platform/lmn/LMNDeviceManager.h"

#include "platform/dispatch/Check.h"
#include "platform/foundation/PathName.h"
#include "platform/foundation/SharedInstance.h"
#include "platform/lmn/LMNDeviceArchive.h"
#include "platform/lmn/LMNLog.h"

#include <fmt/format.h>
#include <boost/json/serialize.hpp>

#include <utility>

namespace lmn {
namespace {

namespace json = boost::json;

constexpr std::string_view configFileName = "device.json";

} // namespace

LMNDeviceManager::LMNDeviceManager(const foundation::RuntimeDirectory& runtimeDirectory,
                                   dispatch::Queue& mainQueue)
    : directory_(runtimeDirectory.subdirectory("devices")), mainQueue_(mainQueue) {}

LMNDeviceManager* LMNDeviceManager::sharedDeviceManager() {
    return foundation::SharedInstance<LMNDeviceManager>::get();
}

std::shared_ptr<LMNDevice> LMNDeviceManager::deviceWithDeviceUID(std::string_view uid, bool input) {
    try {
        const std::optional<LMNVirtualDeviceConfig> config = configOf(uid);
        if (!config)
            return nullptr;
        {
            const dispatch::LockGuard guard(lock_);
            if (config->hidden && !allowed_.contains(uid))
                return nullptr;
        }
        return (input ? config->inputChannels : config->outputChannels) > 0 ? open(*config) : nullptr;
    } catch (const std::exception& error) {
        LMNLog(4, fmt::format("LMNDeviceManager: device \"{}\": {}\n", uid, error.what()));
        return nullptr;
    }
}

std::optional<LMNVirtualDeviceConfig> LMNDeviceManager::configOf(std::string_view uid) {
    if (uid.starts_with(systemDeviceUIDPrefix)) {
        const dispatch::LockGuard guard(lock_);
        const auto listed = systemDevices_.find(uid);
        return listed != systemDevices_.end() ? std::optional(listed->second) : std::nullopt;
    }
    const foundation::JsonFile file(directory_.path() / foundation::pathComponentOf(uid) / configFileName);
    const std::optional<json::value> stored = file.read();
    return stored ? std::optional(configOfArchive(*stored)) : std::nullopt;
}

void LMNDeviceManager::setSystemDevices(std::function<std::vector<LMNVirtualDeviceConfig>()> list) {
    const dispatch::LockGuard guard(lock_);
    listSystemDevices_.swap(list);
}

void LMNDeviceManager::needsDevicesUpdate() {
    mainQueue_.assertCurrent();
    std::function<std::vector<LMNVirtualDeviceConfig>()> list;
    {
        const dispatch::LockGuard guard(lock_);
        list = listSystemDevices_;
    }
    std::map<std::string, LMNVirtualDeviceConfig, std::less<>> listed;
    for (LMNVirtualDeviceConfig& config : list ? list() : std::vector<LMNVirtualDeviceConfig>()) {
        ORB_CHECK(config.deviceUID.starts_with(systemDeviceUIDPrefix), "\"{}\" is none of the system's own",
                  config.deviceUID);
        listed.insert_or_assign(config.deviceUID, std::move(config));
    }
    const dispatch::LockGuard guard(lock_);
    systemDevices_.swap(listed);
}

void LMNDeviceManager::allowHiddenDevice(std::string_view uid) {
    const dispatch::LockGuard guard(lock_);
    allowed_.emplace(uid);
}

std::string LMNDeviceManager::archiveForDevice(const LMNDevice& device) const {
    return json::serialize(archiveOf(device.config()));
}

std::string LMNDeviceManager::archiveFromConfig(const LMNVirtualDeviceConfig& config, bool) const {
    return json::serialize(archiveOf(config));
}

std::shared_ptr<LMNDevice> LMNDeviceManager::deviceFromArchive(std::string_view archive) {
    try {
        return open(configOfArchive(archive));
    } catch (const std::exception& error) {
        LMNLog(4, fmt::format("LMNDeviceManager: cannot restore a device: {}\n", error.what()));
        return nullptr;
    }
}

void LMNDeviceManager::forget(std::string_view uid) {
    std::shared_ptr<LMNDevice> last; // outlives the lock
    const dispatch::LockGuard guard(lock_);
    if (const auto device = devices_.find(uid); device != devices_.end()) {
        last = std::move(device->second);
        devices_.erase(device);
    }
}

std::shared_ptr<LMNDevice> LMNDeviceManager::open(const LMNVirtualDeviceConfig& config) {
    const dispatch::LockGuard guard(lock_);
    std::shared_ptr<LMNDevice>& device = devices_[config.deviceUID];
    if (!device) {
        foundation::RuntimeDirectory directory = directory_.subdirectory(config.deviceUID);
        if (!config.deviceUID.starts_with(systemDeviceUIDPrefix))
            foundation::JsonFile(directory.path() / configFileName).replace(archiveOf(config));
        device = std::make_shared<LMNDevice>(config, std::move(directory), mainQueue_);
    }
    return device;
}

} // namespace lmn
