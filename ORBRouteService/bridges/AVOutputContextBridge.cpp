// SPDX-License-Identifier: MIT
#include "ORBRouteService/bridges/AVOutputContextBridge.h"

#include "platform/dispatch/Check.h"

#include <algorithm>

namespace orb {

AVOutputContextBridge::Context AVOutputContextBridge::contextBehind(
    const std::shared_ptr<AVOutputContextProtocol>& context) {
    if (context == nullptr)
        return nullptr;
    const auto* bridge = dynamic_cast<const AVOutputContextBridge*>(context.get());
    ORB_CHECK(bridge != nullptr, "context {} is not the system's", context->contextID());
    return bridge->context_;
}

std::shared_ptr<AVOutputDeviceProtocol> AVOutputContextBridge::outputDevice() const {
    const auto devices = outputDevices();
    return devices.empty() ? nullptr : devices.front();
}

std::vector<std::shared_ptr<AVOutputDeviceProtocol>> AVOutputContextBridge::outputDevices() const {
    const dispatch::LockGuard guard(lock_);
    std::vector<std::shared_ptr<AVOutputDeviceBridge>> devices;
    for (const auto& device : context_->outputDevices()) {
        const auto known = std::ranges::find(devices_, device, &AVOutputDeviceBridge::device);
        devices.push_back(known != devices_.end() ? *known : std::make_shared<AVOutputDeviceBridge>(device));
    }
    devices_ = devices;
    return {devices.begin(), devices.end()};
}

} // namespace orb
