// SPDX-License-Identifier: MIT
#include "ORBRouteService/bridges/AVOutputContextClassBridge.h"

namespace orb {

AVOutputContextClassProtocol::Context AVOutputContextClassBridge::bridgeOf(
    const std::shared_ptr<avfoundation::AVOutputContext>& context) {
    if (context == nullptr)
        return nullptr;
    std::erase_if(bridges_, [](const auto& weak) { return weak.expired(); });
    for (const auto& weak : bridges_)
        if (auto bridge = weak.lock(); bridge->notificationObject() == context.get())
            return bridge;
    auto bridge = std::make_shared<AVOutputContextBridge>(context);
    bridges_.push_back(bridge);
    return bridge;
}

} // namespace orb
