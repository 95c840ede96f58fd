// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace lmn {
class LMNDevice;
}

namespace orb {

/// The service's view of one AirPlay device that is routed to an output context. Shared by whoever lists the
/// context's devices. Main queue, or the synchronous hops from it.
class AVOutputDeviceProtocol {
  public:
    virtual ~AVOutputDeviceProtocol() = default;

    virtual std::string name() const = 0;

    /// The virtual device that stands for this output device, found or created.
    virtual std::shared_ptr<lmn::LMNDevice> lmnDevice() = 0;
};

/// The service's view of the system's output context: which AirPlay devices are routed to it. Threads as
/// above.
class AVOutputContextProtocol {
  public:
    virtual ~AVOutputContextProtocol() = default;

    /// The devices currently routed to the context.
    virtual std::vector<std::shared_ptr<AVOutputDeviceProtocol>> outputDevices() = 0;
};

} // namespace orb
