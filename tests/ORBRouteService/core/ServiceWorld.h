// SPDX-License-Identifier: MIT
#pragma once

#include "bench/orbsim/SimulatedService.h"
#include "orbctl/client/ServiceLink.h"
#include "platform/lmn/LogCapture.h"

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace orb {

using orbsim::PlayerScript;

struct ServiceWorldOptions {
    bool supportsGroupedAirPlay = false;
    bool starts = true; // with a launch configuration that is right
};

/// A service's time, and what it leaves to be looked at.
struct ServiceEvidence {
    dispatch::VirtualRealm realm;
    lmn::LogCapture log;
};

/// The whole service with its parent. The parent's story is what it is told and answered, in order.
class ServiceWorld final : public ServiceEvidence,
                           public orbsim::SimulatedService,
                           public orbctl::ServiceEvents {
  public:
    explicit ServiceWorld(const std::string& entries, ServiceWorldOptions options = {});
    ~ServiceWorld() override;

    /// The virtual device of the receiver `A1:00:00:00:00:0<number>`, as the parent makes it.
    std::shared_ptr<lmn::LMNDevice> device(const std::string& name, int number);
    /// That of a group with that TXT "tsid".
    std::shared_ptr<lmn::LMNDevice> groupDevice(const std::string& name, const std::string& tsid);

    /// The parent asks; what comes of it is told in its story.
    void request(const std::vector<std::shared_ptr<lmn::LMNDevice>>& devices);
    void requestCodables(const std::set<LMNDeviceCodable>& devices);
    /// Asks, and runs until the answer has come; s that it took.
    double ask(const std::vector<std::shared_ptr<lmn::LMNDevice>>& devices);

    std::vector<std::string> takeStory() { return std::exchange(story, {}); }

    void deviceConnecting(const std::set<LMNDeviceCodable>& devices) override;
    void deviceConnected(const LMNDeviceCodable& device) override;
    void deviceWasDisconnected(const LMNDeviceCodable& device) override;
    void serviceEnded() override { story.emplace_back("ended"); }

    foundation::NotificationCenter parentsNotifications;
    std::optional<orbctl::ServiceLink> link;
    std::vector<std::string> story;

  private:
    dispatch::Task<> connect();
    dispatch::Task<> update(std::set<LMNDeviceCodable> devices);
};

} // namespace orb
