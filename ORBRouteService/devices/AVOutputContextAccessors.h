// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/devices/AVOutputContextProtocol.h"

#include <memory>

namespace lmn {
class LMNDevice;
}

namespace orb {

// All of these look at the context as it is now. On its threads; nullptr is what they find nothing by.

/// The virtual device of the audio device that the system associates with the context, once the framework
/// knows it, by `LMNDeviceManager::sharedDeviceManager()`, which there must be.
std::shared_ptr<lmn::LMNDevice> lmnDevice(const AVOutputContextProtocol& context);

/// The first device of the context that the virtual device stands for (`matches`).
std::shared_ptr<AVOutputDeviceProtocol> AVOutputDeviceForORBDevice(const AVOutputContextProtocol& context,
                                                                   const lmn::LMNDevice& device);

/// The same, else the first that has the name which the route picker shows for the virtual device.
std::shared_ptr<AVOutputDeviceProtocol> deviceMatchForORBDevice(const AVOutputContextProtocol& context,
                                                                const lmn::LMNDevice& device);

} // namespace orb
