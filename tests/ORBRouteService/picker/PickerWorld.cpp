// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/picker/PickerWorld.h"

#include "ORBRouteService/devices/ORBDeviceUID.h"
#include "ORBRouteService/devices/createDevice.h"
#include "ORBRouteService/ipc/ORBDeviceConnectionError.h"
#include "ORBRouteService/picker/toolkit/AXSearch.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <boost/json/value_from.hpp>

#include <fstream>

namespace orb {

PickerWorld::PickerWorld(const std::string& entries, Context kind,
                         std::optional<dispatch::Nanoseconds> arrival) {
    write(entries);
    onMain([&] {
        airPlay.emplace(avkit::EmbeddedAirPlayParts{.realm = realm,
                                                    .playback = playback,
                                                    .notifications = notifications,
                                                    .deviceManager = deviceManager,
                                                    .receiversFile = directory.path() / "receivers.json",
                                                    .pickerArrival = arrival});
        classes.emplace(airPlay->classes());
        context = kind == Context::auxiliary ? classes->outputContextClass().auxiliaryOutputContext()
                                             : classes->outputContextClass().defaultSharedOutputContext();
    });
    if (arrival) {
        open();
    }
}

PickerWorld::~PickerWorld() {
    onMain([&] { tasks.cancel(); });
    realm.advanceUntil([&] { return tasks.running() == 0; }, std::chrono::minutes(10));
    close();
    onMain([&] {
        context.reset();
        classes.reset();
        airPlay.reset();
        playback.finish();
    });
}

void PickerWorld::write(const std::string& entries) {
    const std::filesystem::path file = directory.path() / "receivers.json";
    std::ofstream(file.string() + ".new") << R"({"version": 1, "receivers": [)" << entries << "]}";
    std::filesystem::rename(file.string() + ".new", file);
    realm.settle();
}

std::shared_ptr<lmn::LMNDevice> PickerWorld::device(const KnownOutput& output) {
    const TxtRecord record = output.txtRecord.value_or(TxtRecord());
    auto device = createDevice(deviceManager, output.name, ORBDeviceUID(record, output.address), false);
    const auto put = [&](const char* key, const auto& value) {
        device->setOverride(boost::json::value_from(value), key);
    };
    put(ORBServiceName, output.name);
    if (output.txtRecord) {
        put(ORBTxtRecordOverrideKey, *output.txtRecord);
    }
    return device;
}

dispatch::Task<std::string> PickerWorld::opened() {
    const ORBPickerWindowPlatform platform{.application = airPlay->application(),
                                           .workspace = airPlay->workspace(),
                                           .accessibility = airPlay->accessibility(),
                                           .routePicker = classes->routePickerClass()};
    window = co_await ORBPickerWindow::createPickerWindow(platform, context,
                                                          ORBPickerWindow::Visibility::transparent);
    co_return "done";
}

void PickerWorld::open() {
    finish(tryToOpen());
    realm.settle();
}

void PickerWorld::close() {
    onMain([&] {
        if (!window) {
            return;
        }
        window->close();
        window->stopBrowing();
        window.reset();
    });
}

dispatch::Task<> PickerWorld::note(std::shared_ptr<Ending> ending, const dispatch::Clock& clock,
                                   Result request) {
    const dispatch::HostTime start = clock.now();
    std::string outcome;
    try {
        outcome = co_await request();
    } catch (const ORBDeviceConnectionError& error) {
        outcome = error.description();
    } catch (const std::exception& error) { // a time-out, or cancelled
        outcome = error.what();
    }
    ending->seconds = dispatch::toSeconds(clock.now() - start);
    ending->outcome = outcome;
}

std::shared_ptr<Ending> PickerWorld::begin(const Result& request) {
    auto ending = std::make_shared<Ending>(Ending{.outcome = "under way"});
    onMain([&] { tasks.spawn(note(ending, realm.clock(), request)); });
    return ending;
}

dispatch::Task<std::string> PickerWorld::selected(std::shared_ptr<lmn::LMNDevice> device) {
    const auto output = co_await window->selectDevice(device);
    co_return output->name();
}

dispatch::Task<std::string> PickerWorld::deselected(std::shared_ptr<lmn::LMNDevice> device) {
    co_await window->deselectDevice(device);
    co_return "done";
}

dispatch::Task<std::string> PickerWorld::pressed(std::shared_ptr<lmn::LMNDevice> device) {
    const AXUIElement application = airPlay->accessibility().createApplication(getpid());
    const AXElements boxes =
        findElements(application, accessibility::AXCheckBoxRole, MatchedSubtrees::search);
    co_await window->selectDeviceInWindow(boxes.at(0), device);
    co_return "done";
}

std::shared_ptr<Ending> PickerWorld::select(const std::shared_ptr<lmn::LMNDevice>& device) {
    return begin([this, device] { return selected(device); });
}

std::shared_ptr<Ending> PickerWorld::deselect(const std::shared_ptr<lmn::LMNDevice>& device) {
    return begin([this, device] { return deselected(device); });
}

std::shared_ptr<Ending> PickerWorld::tryToOpen() {
    return begin([this] { return opened(); });
}

std::shared_ptr<Ending> PickerWorld::pressAnyBox(const std::shared_ptr<lmn::LMNDevice>& device) {
    return begin([this, device] { return pressed(device); });
}

const Ending& PickerWorld::finish(const std::shared_ptr<Ending>& ending) {
    realm.advanceUntil([&] { return ending->outcome != "under way"; }, std::chrono::minutes(10));
    return *ending;
}

std::vector<std::string> PickerWorld::routed() const {
    std::vector<std::string> names;
    for (const auto& device : context->outputDevices()) {
        names.push_back(device->name());
    }
    return names;
}

std::vector<std::string> PickerWorld::alerts() {
    std::vector<std::string> messages;
    auto& accessibility = airPlay->accessibility();
    for (const AXUIElement& alert :
         children(accessibility.createApplication(avkit::AirPlayUIAgent::processIdentifier))) {
        messages.push_back(stringValue(children(alert).at(1)).value_or("no text"));
    }
    return messages;
}

void PickerWorld::onMain(dispatch::FunctionRef<void()> action) {
    realm.mainQueue().sync(action);
    realm.settle();
}

} // namespace orb
