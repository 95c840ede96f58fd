// SPDX-License-Identifier: MIT
#pragma once

#include "bench/orbsim/Verdict.h"

#include "ORBRouteService/ipc/IPCMessage.h"
#include "ORBRouteService/ipc/ORBServiceToAppMessage.h"

#include "platform/dispatch/virtual/VirtualRealm.h"
#include "platform/foundation/ports/LocalMessagePort.h"
#include "platform/foundation/ports/RemoteMessagePort.h"

#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <set>
#include <string>

namespace orbsim {

/// A parent at the two ends of the wire, which sees every message by itself and may do what no decent parent
/// does. It holds the service to these rules:
///
///     answer    every request that it sent has exactly one answer, within its bound
///     notices   what was said of connected devices, replayed, is what is connected
///
/// Devices are told by their UIDs. Everything is called from outside of the realm's queues.
class WireParent {
  public:
    struct Request {
        foundation::UUID uuid;
        std::set<std::string> devices{};
        double asked = 0; // s since the launch
        double bound = 0; // s from then to its answer, with those that were asked before
        std::size_t answers = 0;
        bool mayBeLost = false;                        // the answer: something of that time was
        std::optional<std::set<std::string>> routed{}; // of its answer; nullopt: an error, or none yet
    };

    /// Opens the parent's port.
    WireParent(dispatch::VirtualRealm& realm, const foundation::RuntimeDirectory& runtimeDirectory,
               Verdict& verdict);
    ~WireParent();

    /// Asks for these.
    void ask(const std::set<orb::LMNDeviceCodable>& devices);
    /// Sends so many messages that are none.
    void flood(std::size_t messages);
    /// Goes; in the middle of a message if so.
    void die(bool inMessage);

    /// The service said that a message of its own found no room: answers that are awaited may be missing, and
    /// what was said of connected devices is not all, until `nothingIsRouted`.
    void messageWasLost();
    void nothingIsRouted();

    /// Holds unanswered requests to the bound, of which `reconnections` is what the service had to do
    /// besides. It begins anew with each look at a question that nobody has answered, `lastPrompt`.
    void judgeAnswers(std::size_t reconnections, double lastPrompt);
    /// At rest: what is routed. Without effect once messages were lost.
    void judgeNotices(const std::set<std::string>& routed);

    const std::deque<Request>& requests() const { return requests_; }
    bool isWaiting() const;
    /// Whether something said since the last request tells that this device is not connected.
    bool wasToldOfLossOf(const std::string& device) const { return lost_.contains(device); }
    /// Whether the last request asks for it.
    bool isWanted(const std::string& device) const {
        return !requests_.empty() && requests_.back().devices.contains(device);
    }
    /// Devices that are connected by what was said.
    const std::set<std::string>& connected() const { return connected_; }

  private:
    void receive(const std::string& data);
    void takeNotice(const orb::ORBServiceToAppMessage& notice);
    void takeAnswer(Request& request, const foundation::Data& payload);
    bool connect();

    dispatch::VirtualRealm& realm_;
    const foundation::RuntimeDirectory& runtimeDirectory_;
    Verdict& verdict_;
    std::unique_ptr<foundation::LocalMessagePort> local_;
    std::shared_ptr<foundation::RemoteMessagePort> remote_;
    std::deque<Request> requests_;
    std::set<std::string> connected_;
    std::set<std::string> lost_;
    bool hasLost_ = false;
};

/// The UID of the device that a message names.
std::string deviceUIDOf(const orb::LMNDeviceCodable& device);

} // namespace orbsim
