// SPDX-License-Identifier: MIT
#include "ORBRouteService/devices/AVOutputContextAccessors.h"

#include "ORBRouteService/devices/AVOutputDeviceAccessors.h"

#include "platform/dispatch/Check.h"
#include "platform/lmn/LMNDeviceManager.h"

namespace orb {

using OutputDevice = std::shared_ptr<AVOutputDeviceProtocol>;

std::shared_ptr<lmn::LMNDevice> lmnDevice(const AVOutputContextProtocol& context) {
    const std::optional<std::string> uid = context.associatedAudioDeviceID();
    if (!uid)
        return nullptr;
    lmn::LMNDeviceManager* manager = lmn::LMNDeviceManager::sharedDeviceManager();
    ORB_CHECK(manager != nullptr, "no device manager for {}", *uid);
    return manager->deviceWithDeviceUID(*uid, false);
}

OutputDevice AVOutputDeviceForORBDevice(const AVOutputContextProtocol& context,
                                        const lmn::LMNDevice& device) {
    for (OutputDevice& output : context.outputDevices())
        if (matches(*output, device))
            return output;
    return nullptr;
}

OutputDevice deviceMatchForORBDevice(const AVOutputContextProtocol& context, const lmn::LMNDevice& device) {
    if (auto matching = AVOutputDeviceForORBDevice(context, device))
        return matching;
    const std::string name = orbServiceName(device);
    for (OutputDevice& output : context.outputDevices())
        if (output->name() == name)
            return output;
    return nullptr;
}

} // namespace orb
