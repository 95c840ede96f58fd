// SPDX-License-Identifier: MIT
// How a picker window routes a device and takes it away again.
#include "ORBRouteService/picker/ORBPickerWindow.h"

#include "ORBRouteService/devices/AVOutputContextAccessors.h"
#include "ORBRouteService/devices/AVOutputDeviceAccessors.h"
#include "ORBRouteService/ipc/ORBDeviceConnectionError.h"
#include "ORBRouteService/log/ORBDebugLog.h"
#include "ORBRouteService/picker/recordDescription.h"
#include "ORBRouteService/picker/toolkit/AXSearch.h"
#include "ORBRouteService/picker/waitForConnectionConfirmation.h"
#include "ORBRouteService/picker/waiting/awaitCondition.h"
#include "ORBRouteService/picker/waiting/awaitResult.h"

#include "platform/lmn/LMNDevice.h"

#include <algorithm>
#include <utility>

namespace orb {
namespace {

using accessibility::AXCheckBoxRole;
using accessibility::AXValueAttribute;
using Case = ORBDeviceConnectionError::Case;
using dispatch::Seconds;
using dispatch::Task;

const WaitLimits selectionLimits{
    .timeout = Seconds(5.0), .sleep = Seconds(0.1), .operation = "selectDevice(device:)"};
const WaitLimits deselectionLimits{
    .timeout = Seconds(2.0), .sleep = Seconds(0.1), .operation = "deselectDevice(device:)"};

const AXValueMatching unchecked(std::int64_t{0});
const AXValueMatching checked(std::int64_t{1});

/// A picker whose boxes can be pressed for ever must not hold the main thread for ever.
constexpr int mostDeselectionPasses = 100;

bool hasValue(const AXUIElement& element, const AXValueMatching& value) {
    return value.isEqualToOtherValue(element.copyAttributeValue(AXValueAttribute));
}

std::vector<std::string> identifiersOf(const std::vector<std::shared_ptr<AVOutputDeviceProtocol>>& devices) {
    std::vector<std::string> identifiers;
    identifiers.reserve(devices.size());
    for (const auto& device : devices) {
        identifiers.push_back(device->ID());
    }
    return identifiers;
}

ORBDeviceConnectionError connectionError(Case errorCase, const lmn::LMNDevice& device) {
    return {errorCase, LMNDeviceCodable::from(device)};
}

void logConnection(const AVOutputDeviceProtocol& device) {
    ORBDebugLog(0, "Connected to device {}]\ntxtRecord:{}\nairplayProperties:{}\nid: {}",
                device.description(), recordDescription(txtRecord(device).value_or(TxtRecord())),
                recordDescription(device.airPlayProperties()), device.ID());
}

} // namespace

/// Keeps the discovery as it is while a selection runs, however that ends.
class ORBPickerWindow::Selection {
  public:
    explicit Selection(ORBPickerWindow& window) : window_(window) { window_.connectionInProgress_ = true; }
    ~Selection() {
        window_.stopBrowing(); // with the selection still under way: only forgets a wish to browse
        window_.connectionInProgress_ = false;
    }
    Selection(const Selection&) = delete;
    Selection& operator=(const Selection&) = delete;

  private:
    ORBPickerWindow& window_;
};

Task<std::shared_ptr<AVOutputDeviceProtocol>> ORBPickerWindow::selectDevice(
    std::shared_ptr<lmn::LMNDevice> device) {
    const Selection selection(*this);
    startBrowing();
    const std::function<Task<std::optional<Candidates>>()> find = [this, &device] {
        return findCandidates(device);
    };
    const std::optional<Candidates> candidates = co_await awaitResult(selectionLimits, find);
    stopBrowing();
    if (candidates) {
        for (const AXUIElement& checkbox : candidates->checkboxes) {
            const auto selected = co_await selectCandidate(checkbox, device);
            if (selected) {
                co_return selected;
            }
            ORBDebugLog(1, "Device features do not match, retrying with next device named {} if available",
                        orbServiceName(*device));
        }
    }
    throw connectionError(Case::deviceWithMatchingFeaturesNotFoundInContext, *device);
}

Task<std::optional<ORBPickerWindow::Candidates>> ORBPickerWindow::findCandidates(
    std::shared_ptr<lmn::LMNDevice> device) {
    const std::optional<AXUIElement> window = co_await ownElement();
    if (!window) {
        co_return std::nullopt;
    }
    const std::string role(AXCheckBoxRole);
    AXElements checkboxes = co_await rowElements(*window, device, role, unchecked);
    co_return checkboxes.empty() ? std::nullopt : std::optional(Candidates{*window, std::move(checkboxes)});
}

Task<AXElements> ORBPickerWindow::rowElements(AXUIElement window, std::shared_ptr<lmn::LMNDevice> device,
                                              std::string role, AXValueMatching value) {
    const std::vector<PickerRow> rows = tableRows(window);
    const auto row = std::ranges::find(rows, orbServiceName(*device), &PickerRow::label);
    AXElements elements;
    if (row != rows.end()) {
        std::ranges::copy_if(row->cellElements, std::back_inserter(elements),
                             [&](const AXUIElement& element) {
                                 return orb::role(element) == role && hasValue(element, value);
                             });
    }
    co_return elements;
}

/// nullptr when what turned up is not the device.
Task<std::shared_ptr<AVOutputDeviceProtocol>> ORBPickerWindow::selectCandidate(
    AXUIElement checkbox, std::shared_ptr<lmn::LMNDevice> device) {
    co_await deselectAllDevices();
    const std::vector<std::string> initialIDs = identifiersOf(context_->outputDevices());
    co_await selectDeviceInWindow(checkbox, device);
    std::shared_ptr<AVOutputDeviceProtocol> newDevice;
    const std::function<Task<bool>()> isMissing = [&] { return isWithoutNewDevice(initialIDs, newDevice); };
    co_await awaitCondition(selectionLimits, isMissing);
    const OutputDevices devices = context_->outputDevices();
    if (context_->associatedAudioDeviceID() && !devices.empty()) {
        co_return devices.front();
    }
    if (!newDevice || newDevice->name() != orbServiceName(*device)) {
        throw connectionError(Case::deviceNotFoundInContext, *device);
    }
    logConnection(*newDevice);
    co_return AVOutputDeviceForORBDevice(*context_, *device);
}

Task<bool> ORBPickerWindow::isWithoutNewDevice(const std::vector<std::string>& initialIDs,
                                               std::shared_ptr<AVOutputDeviceProtocol>& newDevice) {
    const OutputDevices devices = context_->outputDevices();
    const auto isNew = [&](const auto& device) {
        return std::ranges::find(initialIDs, device->ID()) == initialIDs.end();
    };
    if (const auto found = std::ranges::find_if(devices, isNew); found != devices.end()) {
        newDevice = *found;
        co_return false;
    }
    if (const auto associated = context_->associatedAudioDeviceID()) {
        ORBDebugLog(0, "Associated audio device found {}", *associated);
        co_return false;
    }
    co_return true;
}

Task<> ORBPickerWindow::selectDeviceInWindow(AXUIElement checkbox, std::shared_ptr<lmn::LMNDevice> device) {
    ORBDebugLog(1, "{} selecting device with txtRecord:{}", device->description(),
                recordDescription(orbTxtRecord(*device).value_or(TxtRecord())));
    if (!hasValue(checkbox, unchecked)) {
        co_return;
    }
    press(checkbox);
    co_await waitForConnectionConfirmation(alerts_, device, context_);
}

Task<> ORBPickerWindow::deselectDevice(std::shared_ptr<lmn::LMNDevice> device) {
    const std::shared_ptr<AVOutputDeviceProtocol> outputDevice = deviceMatchForORBDevice(*context_, *device);
    if (!outputDevice) {
        co_return;
    }
    const std::optional<AXUIElement> window = co_await ownElement();
    if (!window) {
        co_return;
    }
    const std::string role(AXCheckBoxRole);
    const AXElements checkboxes = co_await rowElements(*window, device, role, checked);
    std::ranges::for_each(checkboxes, press);
    const std::function<Task<bool>()> stays = [&] { return isRouted(outputDevice); };
    co_await awaitCondition(deselectionLimits, stays);
}

Task<bool> ORBPickerWindow::isRouted(std::shared_ptr<AVOutputDeviceProtocol> outputDevice) {
    const OutputDevices devices = context_->outputDevices();
    co_return std::ranges::find(devices, outputDevice) != devices.end();
}

Task<> ORBPickerWindow::deselectAllDevices() {
    for (int pass = 0; pass < mostDeselectionPasses; ++pass) {
        const bool hasPressed = co_await deselectionPass();
        if (!hasPressed) {
            co_return;
        }
        co_await dispatch::sleepFor(dispatch::Nanoseconds{0}); // each pass is a turn of its own
    }
}

/// Whether there was anything to press.
Task<bool> ORBPickerWindow::deselectionPass() {
    if (context_->outputDevices().empty()) {
        co_return false;
    }
    const std::optional<AXUIElement> window = co_await ownElement();
    if (!window) {
        co_return false;
    }
    bool hasPressed = false;
    for (const AXUIElement& checkbox : findElements(*window, AXCheckBoxRole, MatchedSubtrees::search)) {
        if (hasValue(checkbox, checked)) {
            press(checkbox);
            hasPressed = true;
        }
    }
    co_return hasPressed;
}

} // namespace orb
