// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/devices/AVOutputContextProtocol.h"
#include "ORBRouteService/picker/SystemAlerts.h"

#include "platform/dispatch/Task.h"

#include <memory>

namespace orb {

/// Waits, after the device's check box was pressed, until the device has joined the context (see
/// `ConnectionConfirmation`), and presses the OK button of a failure alert that concerns it. Throws
/// `ORBDeviceConnectionError`. A cancellation of the task does not end it. Main thread.
dispatch::Task<> waitForConnectionConfirmation(const SystemAlerts& alerts,
                                               std::shared_ptr<lmn::LMNDevice> device,
                                               std::shared_ptr<AVOutputContextProtocol> context);

} // namespace orb
