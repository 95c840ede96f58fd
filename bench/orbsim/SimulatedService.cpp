// SPDX-License-Identifier: MIT
#include "bench/orbsim/SimulatedService.h"

#include "ORBRouteService/devices/ORBDeviceUID.h"
#include "ORBRouteService/devices/createDevice.h"

#include <boost/json/value_from.hpp>

#include <fstream>
#include <utility>

namespace orbsim {
namespace {

constexpr std::int32_t playersProcess = 0x40000001; // neither this one nor anybody's parent

} // namespace

SimulatedService::SimulatedService(dispatch::VirtualRealm& realm, const std::string& entries, Options options)
    : tasks(realm.mainQueue()), realm_(realm), options_(std::move(options)) {
    write(entries);
    onMain([&] {
        system.emplace(realm_,
                       orb::EmbeddedServiceOptions{.runtimeDirectory = directory.path() / "run",
                                                   .configDirectory = directory.path() / "config",
                                                   .receiversFile = directory.path() / "receivers.json",
                                                   .observers = options_.observers});
    });
}

SimulatedService::~SimulatedService() {
    onMain([&] { tasks.cancel(); });
    await([&] {
        return system->taskPool().drain();
    }); // a request under way ends first: it works on the service
    if (service) {
        await([&] { return service->drain(); });
    }
    await([&] { return system->taskPool().drain(); });
    run(1); // a feeding loop ends when it next looks for its mirror device
    system->audioServer().queue().sync([&] { players_.clear(); });
    onMain([&] {
        served_.reset();
        service.reset();
        system->playback().finish();
        system.reset();
    });
}

void SimulatedService::await(dispatch::FunctionRef<dispatch::Task<>()> task) {
    onMain([&] { tasks.spawn(task()); });
    realm_.advanceUntil([&] { return tasks.running() == 0; }, std::chrono::minutes(10));
}

void SimulatedService::launch(std::vector<std::string> arguments) {
    onMain([&] {
        service.emplace(
            system->platform(std::move(arguments), [this](int status) { exits.push_back(status); }));
        service->applicationDidFinishLaunching();
    });
}

orb::ORBRouteServiceLaunchConfig SimulatedService::config() const {
    const lmn::LMNVirtualDeviceConfig device{.name = "Parent", .deviceUID = "parent-device", .hidden = true};
    auto& manager = *lmn::LMNDeviceManager::sharedDeviceManager();
    return {.pid = 1,
            .bundle = foundation::URL::forFile(directory.path()),
            .device = {foundation::Data{manager.archiveFromConfig(device, false)}, "Parent"},
            .supportsGroupedAirPlay = options_.supportsGroupedAirPlay,
            .localPort = "parent",
            .remotePort = "service"};
}

void SimulatedService::write(const std::string& entries) {
    const std::filesystem::path file = directory.path() / "receivers.json";
    std::ofstream(file.string() + ".new") << R"({"version": 1, "receivers": [)" << entries << "]}";
    std::filesystem::rename(file.string() + ".new", file);
    realm_.settle();
}

std::shared_ptr<lmn::LMNDevice> SimulatedService::makeDevice(const std::string& name,
                                                             const orb::TxtRecord& record,
                                                             const std::string& address) {
    auto made = orb::createDevice(system->deviceManager(), name, orb::ORBDeviceUID(record, address), false);
    made->setOverride(boost::json::value(name), orb::ORBServiceName);
    made->setOverride(boost::json::value(address), orb::ORBMacAddressOverrideKey);
    made->setOverride(boost::json::value_from(record), orb::ORBTxtRecordOverrideKey);
    return made;
}

std::shared_ptr<ScriptedPlayer> SimulatedService::play(const PlayerScript& script) {
    onMain([&] { served_ = system->audioServer().serve(service->contextDevice()); });
    auto& roster = static_cast<lmn::PlayerRoster&>(*served_);
    dispatch::Queue& queue = system->audioServer().queue();
    auto player = std::make_shared<ScriptedPlayer>(roster, queue, script);
    queue.sync([&] {
        std::erase_if(players_, [](const auto& earlier) { return !earlier->isPlaying(); });
        players_.push_back(player);
        player->join(playersProcess);
    });
    return player;
}

void SimulatedService::onMain(dispatch::FunctionRef<void()> action) {
    realm_.mainQueue().sync(action);
    realm_.settle();
}

std::vector<std::string> SimulatedService::routed() {
    std::vector<std::string> names;
    for (const auto& output : service->context()->outputDevices()) {
        names.push_back(output->name());
    }
    return names;
}

} // namespace orbsim
