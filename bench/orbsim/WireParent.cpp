// SPDX-License-Identifier: MIT
#include "bench/orbsim/WireParent.h"

#include "ORBRouteService/devices/DeviceRestoreError.h"
#include "ORBRouteService/devices/LMNDeviceAccessors.h"
#include "ORBRouteService/ipc/ORBAppToServiceMessage.h"
#include "ORBRouteService/ipc/ORBUpdateDevicesReply.h"

#include "platform/foundation/coding/DecodingError.h"
#include "platform/foundation/coding/JSONCoder.h"
#include "platform/foundation/ports/MessageFrames.h"
#include "platform/foundation/ports/PortPlace.h"
#include "platform/lmn/LMNDevice.h"
#include "platform/lmn/LMNLog.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <unistd.h>

#include <algorithm>

namespace orbsim {
namespace {

// The longest that an update may take: the picker's coming; for each device that is asked for its check box,
// the connection with three questions that are answered late, and its name; for each other device that it is
// gone; the context's own device.
constexpr double pickerBound = 10.0;
constexpr double deviceBound = 5.1 + 20.5 + 36 + 2.5 + 5.1;
constexpr double surplusBound = 2.1;
constexpr double contextBound = 10.1;
constexpr double slotBound = 0.2;
constexpr std::size_t mostDevices = 4;

double boundOfUpdate(std::size_t devices) {
    return pickerBound + static_cast<double>(devices) * deviceBound + mostDevices * surplusBound +
           contextBound + slotBound;
}

void report(const std::string& line) { lmn::LMNLog(4, line + "\n"); }

bool isAwaited(const WireParent::Request& request) { return request.answers == 0 && !request.mayBeLost; }

template <typename Message>
std::optional<Message> readAs(const foundation::Data& payload) {
    try {
        return foundation::decodeJSON<Message>(payload.bytes);
    } catch (const foundation::DecodingError&) {
        return std::nullopt;
    }
}

} // namespace

std::string deviceUIDOf(const orb::LMNDeviceCodable& device) {
    try {
        return device.toLMNDevice()->deviceUID();
    } catch (const orb::DeviceRestoreError&) {
        return "unreadable";
    }
}

WireParent::WireParent(dispatch::VirtualRealm& realm, const foundation::RuntimeDirectory& runtimeDirectory,
                       Verdict& verdict)
    : realm_(realm), runtimeDirectory_(runtimeDirectory), verdict_(verdict) {
    local_ = foundation::LocalMessagePort::create(
        realm_.mainQueue(), runtimeDirectory, "parent",
        [this](std::int32_t, const std::string& data) { receive(data); }, report);
}

WireParent::~WireParent() { die(false); }

bool WireParent::connect() {
    if (!remote_) {
        remote_ =
            foundation::RemoteMessagePort::create(realm_.mainQueue(), runtimeDirectory_, "service", report);
    }
    return remote_ != nullptr;
}

void WireParent::ask(const std::set<orb::LMNDeviceCodable>& devices) {
    using Result = foundation::RemoteMessagePort::SendResult;
    const auto envelope = orb::IPCMessage::wrapping(orb::ORBAppToServiceMessage{orb::UpdateDevices{devices}});
    realm_.mainQueue().sync([&] {
        if (!connect() || remote_->sendRequest(0, foundation::encodeJSON(envelope)) != Result::success) {
            return; // it was not sent, and there is nothing to answer
        }
        Request request{.uuid = envelope.uuid(), .asked = verdict_.now()};
        for (const auto& device : devices) {
            request.devices.insert(deviceUIDOf(device));
        }
        request.bound = boundOfUpdate(devices.size());
        for (const Request& ahead : requests_) {
            request.bound += ahead.answers == 0 ? boundOfUpdate(ahead.devices.size()) : 0;
        }
        requests_.push_back(std::move(request));
        lost_.clear();
    });
    realm_.settle();
}

void WireParent::flood(std::size_t messages) {
    realm_.mainQueue().sync([&] {
        for (std::size_t sent = 0; sent < messages && connect(); ++sent) {
            remote_->sendRequest(0, R"({"payload": "no message"})");
        }
    });
    realm_.settle();
}

void WireParent::die(bool inMessage) {
    realm_.mainQueue().sync([&] {
        if (inMessage) {
            const auto visit = foundation::PortPlace(runtimeDirectory_, "service").visit();
            const std::string half =
                std::string(foundation::messagePreface) + foundation::messageHeader(0, 1000) + "{\"payload\"";
            if (visit.occupant == foundation::PortPlace::Occupant::reachable &&
                ::write(visit.connection.get(), half.data(), half.size()) < 0) {
                report("the half message could not be written");
            }
        }
        local_.reset();
        if (remote_) {
            remote_->invalidate();
            remote_.reset();
        }
    });
    realm_.settle();
}

void WireParent::receive(const std::string& data) {
    const auto envelope = readAs<orb::IPCMessage>(foundation::Data{data});
    if (!envelope) {
        verdict_.fail("answer", "a message that is no envelope");
        return;
    }
    const auto request = std::ranges::find(requests_, envelope->uuid(), &Request::uuid);
    if (request != requests_.end()) {
        takeAnswer(*request, envelope->payload());
    } else if (const auto notice = readAs<orb::ORBServiceToAppMessage>(envelope->payload())) {
        takeNotice(*notice);
    }
}

void WireParent::takeAnswer(Request& request, const foundation::Data& payload) {
    if (++request.answers > 1) {
        verdict_.fail("answer",
                      fmt::format("answer {} to the request of {:.3f} s", request.answers, request.asked));
    }
    const auto reply = readAs<orb::ORBUpdateDevicesReply>(payload);
    if (!reply) {
        return; // an error
    }
    request.routed.emplace();
    for (const orb::LMNDeviceCodable& device : *reply) {
        request.routed->insert(deviceUIDOf(device));
    }
}

void WireParent::takeNotice(const orb::ORBServiceToAppMessage& notice) {
    if (const auto* connected = std::get_if<orb::DeviceConnected>(&notice)) {
        connected_.insert(deviceUIDOf(connected->device));
        lost_.erase(deviceUIDOf(connected->device));
    } else if (const auto* disconnected = std::get_if<orb::DeviceWasDisconnected>(&notice)) {
        connected_.erase(deviceUIDOf(disconnected->device));
        lost_.insert(deviceUIDOf(disconnected->device));
    }
}

void WireParent::judgeAnswers(std::size_t reconnections, double lastPrompt) {
    const double reconnecting = static_cast<double>(reconnections) * boundOfUpdate(mostDevices);
    for (const Request& request : requests_) {
        if (isAwaited(request) &&
            verdict_.now() > std::max(request.asked, lastPrompt) + request.bound + reconnecting) {
            verdict_.fail("answer", fmt::format("no answer to the request of {:.3f} s", request.asked));
        }
    }
}

void WireParent::judgeNotices(const std::set<std::string>& routed) {
    if (!hasLost_ && connected_ != routed) {
        verdict_.fail("notices", fmt::format("said to be connected: [{}], connected: [{}]",
                                             fmt::join(connected_, ", "), fmt::join(routed, ", ")));
    }
}

void WireParent::messageWasLost() {
    hasLost_ = true;
    for (Request& request : requests_) {
        request.mayBeLost |= request.answers == 0;
    }
}

void WireParent::nothingIsRouted() {
    hasLost_ = false;
    connected_.clear();
}

bool WireParent::isWaiting() const { return std::ranges::any_of(requests_, isAwaited); }

} // namespace orbsim
