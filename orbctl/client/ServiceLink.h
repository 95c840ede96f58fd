// SPDX-License-Identifier: MIT
#pragma once

#include "orbctl/client/PortNames.h"
#include "orbctl/client/ServiceEvents.h"

#include "ORBRouteService/ORBMessagePort.h"
#include "ORBRouteService/ipc/ORBServiceToAppMessage.h"
#include "ORBRouteService/ipc/ORBUpdateDevicesReply.h"

#include <memory>
#include <optional>
#include <set>

namespace orbctl {

/// The parent's end of the link with one service: asks it for devices, and hears what it does.
///
///     ServiceLink link({realm, taskPool, notifications, runtimeDirectory}, names, events);
///     ... start the service with the same names ...
///     co_await link.connect();
///     const auto devices = co_await link.updateDevices(wanted, dispatch::Seconds{60});
///
/// What the service says that is neither event nor reply, that a request of this link could not be read say,
/// is printed to standard output, see `docs/PROTOCOL.md`.
///
/// Everything on the main queue of the context's realm, where the owner also destroys it. Requests that are
/// under way then, or at `close()`, fail.
class ServiceLink {
  public:
    /// Opens the parent's port, so that a service started from now on finds it at its first look; it
    /// could not answer before it has found it. `events` outlives the link, as does all of `context`.
    ServiceLink(const orb::ORBMessagePortContext& context, PortNames names, ServiceEvents& events);
    ~ServiceLink();
    ServiceLink(const ServiceLink&) = delete;
    ServiceLink& operator=(const ServiceLink&) = delete;

    /// Finds the service's port, which has 30 s to appear. May be called again, after a failure as well as
    /// after the service's end, for a new service with the same names. Throws `orb::OperationTimeout`,
    /// `dispatch::CancellationError`, and `orb::ORBMessagePortError` (`noRemoteConnection`) after `close()`,
    /// or when the parent's port could not be opened because its name is in use (the log says so).
    dispatch::Task<> connect();

    /// Asks for exactly these devices, each once, to be routed, and gives those that are routed afterwards:
    /// the one device that stands for the whole group, where there is such, else each by itself. None are
    /// asked for to disconnect all.
    ///
    /// The service works on one request at a time and connects devices one by one, each within some 10 s, so
    /// `timeout` should allow for all that wait before this one. Without one it may wait for ever: a request
    /// that the service could not read is never answered. The service does not hear of a time-out or a
    /// cancellation; it goes on, and its events tell what comes of it. Throws
    ///   `orb::ORBDeviceConnectionError`    which device could not be connected, and why; for people to read
    ///   `orb::OperationTimeout`            the service waited for something longer than it may
    ///   `orb::IPCError`                    anything else that failed in the service, in its words
    ///   `orb::ORBMessagePortError`         `noRemoteConnection`: not connected, closed, or the service
    ///   ended;
    ///                                      `messageTimeout`: no answer in `timeout` and 0.1 s
    ///   `dispatch::CancellationError`      the calling task was cancelled, or the service gave the request
    ///   up `foundation::DecodingError`        the answer cannot be read
    dispatch::Task<orb::ORBUpdateDevicesReply> updateDevices(std::set<orb::LMNDeviceCodable> devices,
                                                             std::optional<dispatch::Seconds> timeout);

    /// Gives the parent's name back and ends the link for good; the service sees it. No event comes
    /// afterwards. Idempotent.
    void close();

  private:
    void open();
    void shut();
    void receive(const orb::ORBServiceToAppMessage& message);
    static dispatch::Task<> end(std::weak_ptr<ServiceLink> receiver);
    void serviceEnded();

    const orb::ORBMessagePortContext context_;
    const PortNames names_;
    ServiceEvents& events_;
    std::shared_ptr<orb::ORBMessagePort> port_; // until `close()`; another one for each service

    /// Points here without owning. What comes in from a port holds it weakly, and is dropped when that port
    /// has been shut meanwhile.
    std::shared_ptr<ServiceLink> receiver_;
};

} // namespace orbctl
