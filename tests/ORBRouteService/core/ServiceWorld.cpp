// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/core/ServiceWorld.h"

#include "ORBRouteService/ipc/IPCError.h"
#include "ORBRouteService/ipc/ORBDeviceConnectionError.h"
#include "ORBRouteService/picker/waiting/OperationTimeout.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace orb {
namespace {

std::string nameOf(const LMNDeviceCodable& device) { return device.name.value_or("nameless"); }

} // namespace

ServiceWorld::ServiceWorld(const std::string& entries, ServiceWorldOptions options)
    : SimulatedService(realm, entries, {.supportsGroupedAirPlay = options.supportsGroupedAirPlay}) {
    onMain([&] {
        const ORBMessagePortContext context{.realm = realm,
                                            .taskPool = system->taskPool(),
                                            .notifications = parentsNotifications,
                                            .runtimeDirectory = system->runtimeDirectory()};
        link.emplace(context, orbctl::PortNames{.service = "service", .parent = "parent"}, *this);
    });
    if (options.starts) {
        launch({"/bin/service", config().argument()});
        onMain([&] { tasks.spawn(connect()); });
        realm.settle();
        takeStory();
    }
}

ServiceWorld::~ServiceWorld() {
    onMain([&] { link.reset(); });
}

std::shared_ptr<lmn::LMNDevice> ServiceWorld::device(const std::string& name, int number) {
    const std::string address = fmt::format("A1:00:00:00:00:0{}", number);
    return makeDevice(name, {{"deviceid", address}}, address);
}

std::shared_ptr<lmn::LMNDevice> ServiceWorld::groupDevice(const std::string& name, const std::string& tsid) {
    return makeDevice(name, {{"gid", "G"}, {"tsid", tsid}}, "A1:00:00:00:00:01");
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
    onMain([&] { tasks.spawn(update(devices)); });
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
