// SPDX-License-Identifier: MIT
#include "bench/BenchedService.h"

#include "ORBRouteService/ORBRouteServiceLaunchConfig.h"
#include "orbctl/job/ReceiverList.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <numbers>
#include <utility>
#include <vector>

namespace bench {
namespace {

constexpr const char* rowName = "Room 1";
constexpr dispatch::Seconds requestTimeout{30.0};

std::string receiverEntry(int number, int receivers, SoundFiles files) {
    const std::string id = fmt::format("A1:00:00:00:00:{:02X}", number);
    const std::string record =
        receivers == 1 ? fmt::format(R"("deviceid": "{}")", id) : std::string(R"("gid": "G", "tsid": "T")");
    const std::string file =
        files == SoundFiles::each ? fmt::format(R"("file": "room {}.wav", )", number) : std::string();
    return fmt::format(R"({{"name": "Room {}", "id": "{}", {}"connectDelay": 0.25, "txt": {{{}}}}})", number,
                       id, file, record);
}

/// Never silent for longer than a sample.
class EndlessTone final : public orbctl::FrameReader {
  public:
    std::size_t read(std::span<float> interleaved) override {
        constexpr double phaseStep = 2 * std::numbers::pi * 441 / orbctl::framesPerSecond;
        for (std::size_t sample = 0; sample < interleaved.size(); ++sample) {
            const std::size_t frame = sample / orbctl::channelCount;
            interleaved[sample] = static_cast<float>(0.25 * std::sin(phaseStep * static_cast<double>(frame)));
        }
        return orbctl::frameCount(interleaved);
    }
};

} // namespace

ServiceHome::ServiceHome(int receivers, SoundFiles files) {
    std::vector<std::string> entries;
    for (int number = 1; number <= receivers; ++number) {
        entries.push_back(receiverEntry(number, receivers, files));
    }
    std::ofstream(receiversFile()) << fmt::format(R"({{"version": 1, "receivers": [{}]}})",
                                                  fmt::join(entries, ", "));
    ::setenv("ORB_RUNTIME_DIR", (directory_.path() / "run").c_str(), 1);
    ::setenv("ORB_CONFIG_DIR", (directory_.path() / "config").c_str(), 1);
    ::setenv("ORB_RECEIVERS_FILE", receiversFile().c_str(), 1);
}

std::string serviceProgram() { return ownProgram().parent_path().parent_path() / "ORBRouteService"; }

std::shared_ptr<lmn::LMNDevice> makePlayedDevice(lmn::LMNDeviceManager& manager) {
    const lmn::LMNVirtualDeviceConfig config{.name = "bench", .deviceUID = "bench", .hidden = true};
    return manager.deviceFromArchive(manager.archiveFromConfig(config, false));
}

std::string launchArgument(const lmn::LMNDevice& played, const orbctl::PortNames& names, bool grouped) {
    return orb::ORBRouteServiceLaunchConfig{.pid = ::getpid(),
                                            .bundle = foundation::URL::forFile(ownProgram().parent_path()),
                                            .device = orb::LMNDeviceCodable::from(played),
                                            .supportsGroupedAirPlay = grouped,
                                            .localPort = names.parent,
                                            .remotePort = names.service}
        .argument();
}

BenchedService::BenchedService(orbctl::ParentPlatform& platform, const ServiceHome& home)
    : platform_(platform),
      played_(makePlayedDevice(platform.deviceManager())),
      row_(orbctl::ReceiverList(home.receiversFile()).find(rowName).makeDevice(platform.deviceManager())),
      player_(platform.realm(), std::make_unique<EndlessTone>(), 0,
              {.lost = [this](const auto&, const auto&) { isPlaying_ = false; },
               .finished = [this](const auto&) { isPlaying_ = false; }}),
      link_({.realm = platform.realm(),
             .taskPool = platform.taskPool(),
             .notifications = platform.notifications(),
             .runtimeDirectory = platform.runtimeDirectory()},
            names_, *this),
      process_(serviceProgram(), launchArgument(*played_, names_, orb::supportsGroupedAirPlay(*row_))) {}

dispatch::Task<> BenchedService::connect() { co_await link_.connect(); }

dispatch::Task<double> BenchedService::route() {
    std::set<orb::LMNDeviceCodable> devices{orb::LMNDeviceCodable::from(*row_)};
    co_return co_await ask(std::move(devices));
}

dispatch::Task<double> BenchedService::unroute() {
    std::set<orb::LMNDeviceCodable> none;
    co_return co_await ask(std::move(none));
}

dispatch::Task<double> BenchedService::ask(std::set<orb::LMNDeviceCodable> devices) {
    const dispatch::Clock& clock = platform_.realm().clock();
    const dispatch::HostTime begin = clock.now();
    co_await link_.updateDevices(std::move(devices), requestTimeout);
    co_return dispatch::toSeconds(clock.now() - begin);
}

dispatch::Task<> BenchedService::play() {
    std::string uid = played_->deviceUID();
    co_await player_.addDevice(std::move(uid), played_->directory());
    isPlaying_ = true;
    player_.start();
}

} // namespace bench
