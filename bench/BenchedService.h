// SPDX-License-Identifier: MIT
#pragma once

#include "bench/BenchSupport.h"
#include "bench/ChildProcess.h"
#include "orbctl/client/ServiceLink.h"
#include "orbctl/job/ParentPlatform.h"
#include "orbctl/job/Player.h"

#include <filesystem>
#include <memory>
#include <set>
#include <string>

namespace bench {

/// Whether receivers keep what they play.
enum class SoundFiles { none, each };

/// A directory for one service and its parent, with receivers; the environment leads there. Those beyond the
/// first are of one group with it, and connect 0.25 s after they are asked.
class ServiceHome {
  public:
    ServiceHome(int receivers, SoundFiles files);

    std::filesystem::path receiversFile() const { return directory_.path() / "receivers.json"; }

  private:
    const TemporaryDirectory directory_;
};

/// The program.
std::string serviceProgram();

/// A virtual device to play into.
std::shared_ptr<lmn::LMNDevice> makePlayedDevice(lmn::LMNDeviceManager& manager);

/// The service's argument.
std::string launchArgument(const lmn::LMNDevice& played, const orbctl::PortNames& names, bool grouped);

/// A service process whose parent is the bench. Main queue.
class BenchedService final : public orbctl::ServiceEvents {
  public:
    /// Starts it.
    BenchedService(orbctl::ParentPlatform& platform, const ServiceHome& home);
    BenchedService(const BenchedService&) = delete;
    BenchedService& operator=(const BenchedService&) = delete;

    pid_t process() const { return process_.id(); }

    dispatch::Task<> connect();

    /// Routes the one row of the home, or nothing, and gives how long that took, s.
    dispatch::Task<double> route();
    dispatch::Task<double> unroute();

    /// Plays a tone without an end.
    dispatch::Task<> play();

    /// How many receivers the service has told of.
    int connected() const { return connected_; }

    bool isPlaying() const { return isPlaying_; }

    void deviceConnecting(const std::set<orb::LMNDeviceCodable>&) override {}
    void deviceConnected(const orb::LMNDeviceCodable&) override { ++connected_; }
    void deviceWasDisconnected(const orb::LMNDeviceCodable&) override {}
    void serviceEnded() override {}

  private:
    dispatch::Task<double> ask(std::set<orb::LMNDeviceCodable> devices);

    orbctl::ParentPlatform& platform_;
    const orbctl::PortNames names_ = orbctl::PortNames::fresh();
    const std::shared_ptr<lmn::LMNDevice> played_;
    const std::shared_ptr<lmn::LMNDevice> row_;
    int connected_ = 0;
    bool isPlaying_ = false;
    orbctl::Player player_;
    orbctl::ServiceLink link_;
    const ChildProcess process_; // ends first: the player waits for it
};

} // namespace bench
