// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/devices/LMNDeviceCodable.h"

#include <set>

namespace orbctl {

/// What a service tells its parent by itself, in the order in which it said it. Also in order with replies:
/// what the service told before it replied is told here before the request returns.
///
/// Implemented by whoever owns the `ServiceLink`, and outlives it. On the main queue, in a turn of its own
/// each. May close or destroy the link; does not throw.
class ServiceEvents {
  public:
    virtual ~ServiceEvents() = default;

    /// The service begins to connect these.
    virtual void deviceConnecting(const std::set<orb::LMNDeviceCodable>& devices) = 0;

    virtual void deviceConnected(const orb::LMNDeviceCodable& device) = 0;
    virtual void deviceWasDisconnected(const orb::LMNDeviceCodable& device) = 0;

    /// The service's port is gone, since it closed it or died. Told once for each service that was connected,
    /// and last; what it said in its very last moments may be lost.
    virtual void serviceEnded() = 0;
};

} // namespace orbctl
