// SPDX-License-Identifier: MIT
#include "orbctl/client/ServiceLink.h"

#include "ORBRouteService/ipc/ORBAppToServiceMessage.h"

#include <utility>
#include <variant>

namespace orbctl {
namespace {

using orb::ORBMessagePort;
using orb::ORBMessagePortError;

[[noreturn]] void failUnconnected() {
    throw ORBMessagePortError(ORBMessagePortError::Code::noRemoteConnection);
}

dispatch::Task<std::optional<orb::IPCMessage>> noAnswer() { co_return std::nullopt; }

/// Calls the event that a message is.
struct Teller {
    ServiceEvents& events;

    void operator()(const orb::DeviceConnecting& message) const { events.deviceConnecting(message.devices); }
    void operator()(const orb::DeviceConnected& message) const { events.deviceConnected(message.device); }
    void operator()(const orb::DeviceWasDisconnected& message) const {
        events.deviceWasDisconnected(message.device);
    }
};

} // namespace

ServiceLink::ServiceLink(const orb::ORBMessagePortContext& context, PortNames names, ServiceEvents& events)
    : context_(context), names_(std::move(names)), events_(events) {
    open();
}

ServiceLink::~ServiceLink() { close(); }

void ServiceLink::open() {
    receiver_ = std::shared_ptr<ServiceLink>(this, [](ServiceLink*) {});
    const std::weak_ptr<ServiceLink> receiver = receiver_;
    dispatch::Queue& main = context_.realm.mainQueue();
    // Handed on before the handler first waits: only so do messages stay in order, also with replies.
    const ORBMessagePort::RequestHandler<orb::ORBServiceToAppMessage> handOn =
        [receiver, &main](orb::ORBServiceToAppMessage message) {
            main.async([receiver, message = std::move(message)] {
                if (const auto link = receiver.lock()) {
                    link->receive(message);
                }
            });
            return noAnswer();
        };
    port_ = ORBMessagePort::create<orb::ORBServiceToAppMessage>(
        context_, names_.parent, names_.service, [receiver] { return end(receiver); }, handOn);
}

void ServiceLink::shut() {
    receiver_.reset();
    if (const auto port = std::exchange(port_, nullptr)) {
        port->invalidate();
    }
}

void ServiceLink::close() {
    context_.realm.mainQueue().assertCurrent();
    shut();
}

void ServiceLink::receive(const orb::ORBServiceToAppMessage& message) {
    std::visit(Teller{events_}, message);
}

dispatch::Task<> ServiceLink::end(std::weak_ptr<ServiceLink> receiver) {
    if (const auto link = receiver.lock()) {
        link->serviceEnded();
    }
    co_return;
}

/// Lets the requests fail that this service will not answer, and is there for the next one.
void ServiceLink::serviceEnded() {
    shut();
    open();
    events_.serviceEnded();
}

dispatch::Task<> ServiceLink::connect() {
    const auto port = port_; // after a wait this link may be closed, or gone
    if (!port) {
        failUnconnected();
    }
    port->setupLocalPort();
    co_await port->setupRemotePort();
    if (!port->hasLocalPort() || !port->hasRemotePort()) {
        failUnconnected();
    }
}

dispatch::Task<orb::ORBUpdateDevicesReply> ServiceLink::updateDevices(
    std::set<orb::LMNDeviceCodable> devices, std::optional<dispatch::Seconds> timeout) {
    const auto port = port_;
    if (!port) {
        failUnconnected();
    }
    const orb::ORBAppToServiceMessage request = orb::UpdateDevices{std::move(devices)};
    co_return co_await port->sendMessage<orb::ORBUpdateDevicesReply>(request, timeout);
}

} // namespace orbctl
