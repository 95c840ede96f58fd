// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/core/ServiceWorld.h"

#include "ORBRouteService/devices/ORBDeviceUID.h"
#include "ORBRouteService/devices/createDevice.h"
#include "ORBRouteService/ipc/IPCError.h"
#include "ORBRouteService/ipc/ORBDeviceConnectionError.h"
#include "ORBRouteService/picker/waiting/OperationTimeout.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <boost/json/value_from.hpp>

#include <fstream>

namespace orb {
namespace {

constexpr std::int32_t playersProcess = 0x40000001; // neither this one nor anybody's parent

std::string nameOf(const LMNDeviceCodable& device) { return device.name.value_or("nameless"); }

} // namespace

ServiceWorld::ServiceWorld(const std::string& entries, ServiceWorldOptions options) : options_(options) {
    write(entries);
    onMain([&] {
        system.emplace(realm, EmbeddedServiceOptions{.runtimeDirectory = directory.path() / "run",
                                                     .configDirectory = directory.path() / "config",
                                                     .receiversFile = directory.path() / "receivers.json",
                                                     .observer = [this](std::span<const float> frames,
                                                                        airplay::FrameIndex first) {
                                                         put(heard, first, frames);
                                                     }});
        if (options_.hasParent) {
            const ORBMessagePortContext context{.realm = realm,
                                                .taskPool = system->taskPool(),
                                                .notifications = parentsNotifications,
                                                .runtimeDirectory = system->runtimeDirectory()};
            link.emplace(context, orbctl::PortNames{.service = "service", .parent = "parent"}, *this);
        }
    });
    if (options_.starts) {
        launch({"/bin/service", config().argument()});
        if (options_.hasParent) {
            onMain([&] { tasks_.spawn(connect()); });
            realm.settle();
            takeStory();
        }
    }
}

ServiceWorld::~ServiceWorld() {
    onMain([&] {
        link.reset();
        tasks_.cancel();
        if (service) {
            tasks_.spawn(service->drain());
        }
    });
    realm.advanceUntil([&] { return tasks_.running() == 0; }, std::chrono::minutes(10));
    onMain([&] { tasks_.spawn(system->taskPool().drain()); });
    run(1); // a feeding loop ends when it next looks for its mirror device
    system->audioServer().queue().sync([&] { players_.clear(); });
    onMain([&] {
        served_.reset();
        service.reset();
        system->playback().finish();
        system.reset();
    });
}

void ServiceWorld::write(const std::string& entries) {
    const std::filesystem::path file = directory.path() / "receivers.json";
    std::ofstream(file.string() + ".new") << R"({"version": 1, "receivers": [)" << entries << "]}";
    std::filesystem::rename(file.string() + ".new", file);
    realm.settle();
}

std::shared_ptr<lmn::LMNDevice> ServiceWorld::makeDevice(const std::string& name, const TxtRecord& record,
                                                         const std::string& address) {
    auto made = createDevice(system->deviceManager(), name, ORBDeviceUID(record, address), false);
    made->setOverride(boost::json::value(name), ORBServiceName);
    made->setOverride(boost::json::value(address), ORBMacAddressOverrideKey);
    made->setOverride(boost::json::value_from(record), ORBTxtRecordOverrideKey);
    return made;
}

std::shared_ptr<lmn::LMNDevice> ServiceWorld::device(const std::string& name, int number) {
    const std::string address = fmt::format("A1:00:00:00:00:0{}", number);
    return makeDevice(name, {{"deviceid", address}}, address);
}

std::shared_ptr<lmn::LMNDevice> ServiceWorld::groupDevice(const std::string& name, const std::string& tsid) {
    return makeDevice(name, {{"gid", "G"}, {"tsid", tsid}}, "A1:00:00:00:00:01");
}

ORBRouteServiceLaunchConfig ServiceWorld::config() const {
    const lmn::LMNVirtualDeviceConfig device{.name = "Parent", .deviceUID = "parent-device", .hidden = true};
    auto& manager = *lmn::LMNDeviceManager::sharedDeviceManager();
    return {.pid = 1,
            .bundle = foundation::URL::forFile(directory.path()),
            .device = {foundation::Data{manager.archiveFromConfig(device, false)}, "Parent"},
            .supportsGroupedAirPlay = options_.supportsGroupedAirPlay,
            .localPort = "parent",
            .remotePort = "service"};
}

void ServiceWorld::launch(std::vector<std::string> arguments) {
    onMain([&] {
        service.emplace(
            system->platform(std::move(arguments), [this](int status) { exits.push_back(status); }));
        service->applicationDidFinishLaunching();
    });
}

dispatch::Task<> ServiceWorld::connect() { co_await link->connect(); }

void ServiceWorld::request(const std::vector<std::shared_ptr<lmn::LMNDevice>>& devices) {
    std::set<LMNDeviceCodable> codables;
    for (const auto& device : devices) {
        codables.insert(LMNDeviceCodable::from(*device));
    }
    requestCodables(codables);
}

void ServiceWorld::requestCodables(const std::set<LMNDeviceCodable>& devices) {
    onMain([&] { tasks_.spawn(update(devices)); });
}

dispatch::Task<> ServiceWorld::update(std::set<LMNDeviceCodable> devices) {
    std::string outcome;
    try {
        const ORBUpdateDevicesReply reply = co_await link->updateDevices(devices, std::nullopt);
        std::vector<std::string> names;
        for (const LMNDeviceCodable& device : reply) {
            names.push_back(nameOf(device));
        }
        outcome = fmt::format("reply [{}]", fmt::join(names, ", "));
    } catch (const dispatch::CancellationError&) {
        throw;
    } catch (const ORBDeviceConnectionError& error) {
        outcome = "reply " + error.description();
    } catch (const std::exception& error) {
        outcome = fmt::format("reply {}", error.what());
    }
    story.push_back(outcome);
}

double ServiceWorld::ask(const std::vector<std::shared_ptr<lmn::LMNDevice>>& devices) {
    const dispatch::HostTime start = realm.clock().now();
    request(devices);
    realm.advanceUntil([&] { return !story.empty() && story.back().starts_with("reply"); },
                       std::chrono::minutes(5));
    const double took = dispatch::toSeconds(realm.clock().now() - start);
    run(0.2); // what is told afterwards
    return took;
}

ScriptedPlayer& ServiceWorld::play(const PlayerScript& script) {
    onMain([&] { served_ = system->audioServer().serve(service->contextDevice()); });
    auto& roster = static_cast<lmn::PlayerRoster&>(*served_);
    players_.push_back(std::make_shared<ScriptedPlayer>(roster, system->audioServer().queue(), script));
    system->audioServer().queue().sync([&] { players_.back()->join(playersProcess); });
    return *players_.back();
}

void ServiceWorld::onMain(dispatch::FunctionRef<void()> action) {
    realm.mainQueue().sync(action);
    realm.settle();
}

std::vector<std::string> ServiceWorld::routed() {
    std::vector<std::string> names;
    for (const auto& output : service->context()->outputDevices()) {
        names.push_back(output->name());
    }
    return names;
}

void ServiceWorld::deviceConnecting(const std::set<LMNDeviceCodable>& devices) {
    std::vector<std::string> names;
    for (const LMNDeviceCodable& device : devices) {
        names.push_back(nameOf(device));
    }
    story.push_back(fmt::format("connecting {}", fmt::join(names, ", ")));
}

void ServiceWorld::deviceConnected(const LMNDeviceCodable& device) {
    story.push_back("connected " + nameOf(device));
}

void ServiceWorld::deviceWasDisconnected(const LMNDeviceCodable& device) {
    story.push_back("disconnected " + nameOf(device));
}

} // namespace orb
