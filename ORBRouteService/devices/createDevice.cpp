// SPDX-License-Identifier: MIT
#include "ORBRouteService/devices/createDevice.h"

#include "ORBRouteService/devices/DeviceRestoreError.h"

#include "platform/lmn/LMNDeviceManager.h"

namespace orb {

std::shared_ptr<lmn::LMNDevice> createDevice(lmn::LMNDeviceManager& manager, const std::string& name,
                                             const std::string& deviceUID, bool isInput) {
    using Scope = lmn::LMNVirtualDeviceConfig::Scope;
    lmn::LMNVirtualDeviceConfig config{.name = name, .deviceUID = deviceUID};
    config.setChannelCount(0, Scope::input);
    config.setChannelCount(2, Scope::output);
    auto device = manager.deviceFromArchive(manager.archiveFromConfig(config, isInput));
    if (!device)
        throw DeviceRestoreError(name);
    return device;
}

} // namespace orb
