// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/devices/LMNDeviceAccessors.h"
#include "ORBRouteService/embedded/EmbeddedServiceSystem.h"
#include "orbctl/client/ServiceLink.h"
#include "platform/dispatch/virtual/VirtualRealm.h"
#include "tests/ORBRouteService/audio/NumberedSound.h"
#include "tests/ORBRouteService/audio/ScriptedPlayer.h"
#include "tests/platform/foundation/TemporaryDirectory.h"
#include "tests/support/LogCapture.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace orb {

struct ServiceWorldOptions {
    bool supportsGroupedAirPlay = false;
    bool hasParent = true; // whose port is there from the start
    bool starts = true;    // with a launch configuration that is right
};

/// The whole service with its parent, in one process and in virtual time, on receivers whose entries a test
/// writes. The parent's story is what it is told and answered, in order.
class ServiceWorld final : public orbctl::ServiceEvents {
  public:
    explicit ServiceWorld(const std::string& entries, ServiceWorldOptions options = {});
    ~ServiceWorld() override;

    /// The receivers file anew.
    void write(const std::string& entries);

    /// The virtual device of the receiver `A1:00:00:00:00:0<number>`, as the parent makes it.
    std::shared_ptr<lmn::LMNDevice> device(const std::string& name, int number);
    /// That of a group with that TXT "tsid".
    std::shared_ptr<lmn::LMNDevice> groupDevice(const std::string& name, const std::string& tsid);

    /// Starts the service with this argument.
    void launch(std::vector<std::string> arguments);
    ORBRouteServiceLaunchConfig config() const;

    /// The parent asks; what comes of it is told in its story.
    void request(const std::vector<std::shared_ptr<lmn::LMNDevice>>& devices);
    void requestCodables(const std::set<LMNDeviceCodable>& devices);
    /// Asks, and runs until the answer has come; s that it took.
    double ask(const std::vector<std::shared_ptr<lmn::LMNDevice>>& devices);

    /// A player of another process begins to play into the context device.
    ScriptedPlayer& play(const PlayerScript& script);

    void run(double seconds) { realm.advanceBy(dispatch::toNanoseconds(seconds)); }
    void onMain(dispatch::FunctionRef<void()> action);
    std::vector<std::string> takeStory() { return std::exchange(story, {}); }
    std::vector<std::string> routed();

    void deviceConnecting(const std::set<LMNDeviceCodable>& devices) override;
    void deviceConnected(const LMNDeviceCodable& device) override;
    void deviceWasDisconnected(const LMNDeviceCodable& device) override;
    void serviceEnded() override { story.emplace_back("ended"); }

    dispatch::VirtualRealm realm;
    lmn::LogCapture log;
    const foundation::TemporaryDirectory directory;
    std::optional<EmbeddedServiceSystem> system;
    std::optional<ORBRouteService> service;
    std::vector<int> exits;
    foundation::NotificationCenter parentsNotifications;
    std::optional<orbctl::ServiceLink> link;
    std::vector<std::string> story;
    Sound heard; // by all receivers together, by frames of the route's time line

  private:
    dispatch::Task<> connect();
    dispatch::Task<> update(std::set<LMNDeviceCodable> devices);
    std::shared_ptr<lmn::LMNDevice> makeDevice(const std::string& name, const TxtRecord& record,
                                               const std::string& address);

    const ServiceWorldOptions options_;
    std::shared_ptr<lmn::ServedDevice> served_;
    std::vector<std::shared_ptr<ScriptedPlayer>> players_;
    dispatch::TaskGroup tasks_{realm.mainQueue()};
};

} // namespace orb
