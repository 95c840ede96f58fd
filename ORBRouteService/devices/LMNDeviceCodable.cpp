// SPDX-License-Identifier: MIT
#include "ORBRouteService/devices/LMNDeviceCodable.h"

#include "ORBRouteService/devices/DeviceRestoreError.h"
#include "ORBRouteService/devices/strippingProcessName.h"

#include "platform/dispatch/Check.h"
#include "platform/lmn/LMNDeviceManager.h"

#include <boost/container_hash/hash.hpp>

namespace orb {

using lmn::LMNDeviceManager;

LMNDeviceCodable LMNDeviceCodable::from(const lmn::LMNDevice& device) {
    const LMNDeviceManager* manager = LMNDeviceManager::sharedDeviceManager();
    ORB_CHECK(manager != nullptr, "no device manager for {}", device.description());
    return {foundation::Data{manager->archiveForDevice(device)}, strippingProcessName(device.name())};
}

std::shared_ptr<lmn::LMNDevice> LMNDeviceCodable::toLMNDevice() const {
    LMNDeviceManager* manager = LMNDeviceManager::sharedDeviceManager();
    auto device = manager != nullptr ? manager->deviceFromArchive(data.bytes) : nullptr;
    if (!device)
        throw DeviceRestoreError(name);
    manager->adoptHiddenDevice(device->deviceUID());
    return device;
}

std::string LMNDeviceCodable::description() const {
    if (name)
        return *name;
    try {
        return toLMNDevice()->displayName();
    } catch (const DeviceRestoreError&) {
        return "Unknown Device";
    }
}

} // namespace orb

std::size_t std::hash<orb::LMNDeviceCodable>::operator()(const orb::LMNDeviceCodable& device) const noexcept {
    std::size_t seed = std::hash<std::string>()(device.data.bytes);
    boost::hash_combine(seed, std::hash<std::optional<std::string>>()(device.name));
    return seed;
}
