// SPDX-License-Identifier: MIT
#pragma once

#include "bench/orbsim/ScriptedPlayer.h"

#include "ORBRouteService/devices/LMNDeviceAccessors.h"
#include "ORBRouteService/embedded/EmbeddedServiceSystem.h"

#include "platform/dispatch/virtual/VirtualRealm.h"
#include "platform/foundation/TemporaryDirectory.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace orbsim {

/// The whole service in one process and in virtual time, on receivers whose entries the owner writes, and
/// with its players. Whoever owns it is its parent, and the one who lets time pass; `realm` outlives it.
///
/// Everything is called from outside of the realm's queues, between two steps of time.
class SimulatedService {
  public:
    struct Options {
        bool supportsGroupedAirPlay = false;
        airplay::FrameObservers observers = {}; // of the receivers; may be empty
    };

    /// The system; `launch` starts the service on it. `entries` are those of the receivers file.
    SimulatedService(dispatch::VirtualRealm& realm, const std::string& entries, Options options);

    /// Takes everything down in order, at rest: no request is under way. Whoever has a port of the parent's
    /// has closed it by then.
    ~SimulatedService();
    SimulatedService(const SimulatedService&) = delete;
    SimulatedService& operator=(const SimulatedService&) = delete;

    /// Starts the service with these arguments of its process.
    void launch(std::vector<std::string> arguments);

    /// Of a launch that is as it should be. The service's port is "service", the parent's "parent".
    orb::ORBRouteServiceLaunchConfig config() const;

    /// The receivers file anew.
    void write(const std::string& entries);

    /// A virtual device of a receiver or a group, as the parent makes it from what it discovered.
    std::shared_ptr<lmn::LMNDevice> makeDevice(const std::string& name, const orb::TxtRecord& record,
                                               const std::string& address);

    /// A player of another process begins to play into the context device.
    std::shared_ptr<ScriptedPlayer> play(const PlayerScript& script);

    void run(double seconds) { realm_.advanceBy(dispatch::toNanoseconds(seconds)); }
    void onMain(dispatch::FunctionRef<void()> action);

    /// The names of the output devices.
    std::vector<std::string> routed();

    const foundation::TemporaryDirectory directory;
    std::optional<orb::EmbeddedServiceSystem> system;
    std::optional<orb::ORBRouteService> service;
    std::vector<int> exits; // the statuses with which the service would have ended its process
    dispatch::TaskGroup tasks;

  private:
    void await(dispatch::FunctionRef<dispatch::Task<>()> task);

    dispatch::VirtualRealm& realm_;
    const Options options_;
    std::shared_ptr<lmn::ServedDevice> served_;
    std::vector<std::shared_ptr<ScriptedPlayer>> players_;
};

} // namespace orbsim
