// SPDX-License-Identifier: MIT
// Which devices are routed to the context: by the parent's requests, and afterwards.
#include "ORBRouteService/ORBRouteService.h"

#include "ORBRouteService/devices/AVOutputContextAccessors.h"
#include "ORBRouteService/devices/AVOutputDeviceAccessors.h"
#include "ORBRouteService/devices/LMNDeviceAccessors.h"
#include "ORBRouteService/ipc/ORBDeviceConnectionError.h"
#include "ORBRouteService/log/ORBDebugLog.h"
#include "ORBRouteService/log/environmentFlagEnabled.h"
#include "ORBRouteService/log/flight/FlightRecorder.h"
#include "ORBRouteService/picker/waiting/awaitCondition.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <utility>

namespace orb {
namespace {

using Case = ORBDeviceConnectionError::Case;
using dispatch::Task;

/// How often an update looks whether the one before it has ended.
constexpr auto slotInterval = std::chrono::milliseconds(100);

/// From the end of an update after which the devices are not those that are wanted, to the next attempt.
constexpr auto reconnectPause = std::chrono::seconds(5);

const WaitLimits contextDeviceLimits{.timeout = dispatch::Seconds(10.0),
                                     .sleep = dispatch::Seconds(0.1),
                                     .operation = "handleMessage(message:)"};

template <typename Value>
bool contains(const std::vector<Value>& values, const Value& value) {
    return std::ranges::find(values, value) != values.end();
}

template <typename Value>
std::vector<Value> without(std::vector<Value> values, const std::vector<Value>& others) {
    std::erase_if(values, [&](const Value& value) { return contains(others, value); });
    return values;
}

template <typename Described>
std::string descriptions(const std::vector<std::shared_ptr<Described>>& values) {
    std::vector<std::string> texts;
    texts.reserve(values.size());
    for (const auto& value : values) {
        texts.push_back(value->description());
    }
    return fmt::format("[{}]", fmt::join(texts, ", "));
}

std::vector<std::shared_ptr<lmn::LMNDevice>> restored(const std::set<LMNDeviceCodable>& codables) {
    std::vector<std::shared_ptr<lmn::LMNDevice>> devices;
    devices.reserve(codables.size());
    for (const LMNDeviceCodable& codable : codables) {
        devices.push_back(codable.toLMNDevice());
    }
    return devices;
}

void recordEnd(const std::exception_ptr& failure) {
    try {
        if (failure) {
            std::rethrow_exception(failure);
        }
        recordFlight(FlightKind::updateEnded, {.text = "done"});
    } catch (const std::exception& error) {
        recordFlight(FlightKind::updateEnded, {.text = error.what()});
    }
}

void recordOutput(FlightKind kind, const AVOutputDeviceProtocol& output) {
    const std::string identifier = output.ID();
    const std::string name = output.name();
    recordFlight(kind, {.subject = identifier, .text = name});
}

Task<bool> isWithoutDevice(std::shared_ptr<AVOutputContextProtocol> context) {
    co_return lmnDevice(*context) == nullptr;
}

} // namespace

/// A place in the line of those who wait for the slot, until it is let go. They look at different times, and
/// the newest request must not be overtaken by an older one.
class ORBRouteService::Turn {
  public:
    explicit Turn(Turns& line) : line_(line) { line_.push_back(this); }
    ~Turn() { std::erase(line_, this); }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

    bool hasCome() const { return line_.front() == this; }

  private:
    Turns& line_;
};

Task<ORBUpdateDevicesReply> ORBRouteService::handleMessage(ORBAppToServiceMessage message) {
    const std::set<LMNDeviceCodable> devices = std::get<UpdateDevices>(message).devices;
    setTargetDevices(devices);
    {
        const Turn turn(waitingUpdates_);
        while (deviceUpdateInProgress_ || !turn.hasCome()) {
            co_await dispatch::sleepFor(slotInterval);
        }
    }
    // Interleaves: other requests wait from here on, until `endUpdate`.
    deviceUpdateInProgress_ = true;
    recordFlight(FlightKind::updateBegan, {.numbers = {static_cast<double>(devices.size())}});
    std::shared_ptr<ORBPickerWindow> window;
    ORBUpdateDevicesReply reply;
    std::exception_ptr failure;
    try {
        reply = co_await updateDevices(restored(devices), window);
    } catch (...) {
        failure = std::current_exception();
    }
    recordEnd(failure);
    endUpdate(window);
    if (failure) {
        std::rethrow_exception(failure);
    }
    co_return reply;
}

void ORBRouteService::setTargetDevices(const std::set<LMNDeviceCodable>& devices) {
    mirrorDevice_->setTargetDevices(restored(devices));
}

void ORBRouteService::endUpdate(const std::shared_ptr<ORBPickerWindow>& window) {
    if (window) {
        window->close();
        window->stopBrowing();
    }
    deviceUpdateInProgress_ = false;
    updateVolumeObservers();
    if (mirrorDevice_->needsReconnect()) {
        mainQueue_.asyncAfter(reconnectPause, [this] { scheduleOutputDevicesRefresh(); });
    }
}

Task<ORBUpdateDevicesReply> ORBRouteService::updateDevices(Devices wanted,
                                                           std::shared_ptr<ORBPickerWindow>& window) {
    const Devices surplus = without(virtualDevices(), wanted);
    const auto visibility = environmentFlagEnabled("ORB_DEBUG_PICKER_WINDOW")
                                ? ORBPickerWindow::Visibility::debugVisible
                                : ORBPickerWindow::Visibility::transparent;
    const ORBPickerWindowPlatform platform{.application = platform_.application,
                                           .workspace = platform_.workspace,
                                           .accessibility = platform_.accessibility,
                                           .routePicker = platform_.systemClasses.routePickerClass()};
    window = co_await ORBPickerWindow::createPickerWindow(platform, context_, visibility);
    co_await connectMissing(wanted, *window);
    co_await disconnect(surplus, *window);
    platform_.lmn.deviceManager().needsDevicesUpdate();
    co_await awaitContextDevice();
    co_return connectedDevices();
}

/// Each once, in the order of the output devices.
ORBRouteService::Devices ORBRouteService::virtualDevices() const {
    Devices devices;
    for (const OutputDevice& output : outputDevices_) {
        if (Device device = lmnDevice(*output); !contains(devices, device)) {
            devices.push_back(std::move(device));
        }
    }
    return devices;
}

Task<> ORBRouteService::connectMissing(Devices wanted, ORBPickerWindow& window) {
    for (const Device& device : wanted) {
        if (connectingDevices_.contains(device) || contains(virtualDevices(), device)) {
            continue;
        }
        if (!orbMacAddress(*device)) {
            throw ORBDeviceConnectionError(Case::incompleteTXTRecord, LMNDeviceCodable::from(*device));
        }
        connectingDevices_.insert(device);
        std::exception_ptr failure;
        try {
            co_await connect(device, window);
        } catch (...) {
            failure = std::current_exception();
        }
        connectingDevices_.erase(device);
        if (failure) {
            std::rethrow_exception(failure);
        }
    }
}

Task<> ORBRouteService::connect(Device device, ORBPickerWindow& window) {
    send(DeviceConnecting{{LMNDeviceCodable::from(*device)}});
    const OutputDevice output = co_await window.selectDevice(device);
    const float joinedWith = output->volume();
    pushDeviceVolume(*output, *device);
    ORBDebugLog(0, "Connected to {} AVOutputDevice volume={} LMNDevice volume={}", output->description(),
                LogNumber{joinedWith}, LogNumber{device->volume().get()});
    if (!contains(outputDevices_, output)) {
        const OutputDevices previous = outputDevices_;
        outputDevices_.push_back(output);
        outputDevicesDidChange(previous);
    }
}

Task<> ORBRouteService::disconnect(Devices surplus, ORBPickerWindow& window) {
    for (const Device& device : surplus) {
        if (!deviceMatchForORBDevice(*context_, *device)) {
            throw ORBDeviceConnectionError(Case::deviceNotFoundInContext, LMNDeviceCodable::from(*device));
        }
        co_await window.deselectDevice(device);
    }
}

Task<> ORBRouteService::awaitContextDevice() {
    if (!context_->associatedAudioDeviceID()) {
        co_return;
    }
    ORBDebugLog(0, "Waiting for device to be connected");
    const std::function<Task<bool>()> isMissing = [this] { return isWithoutDevice(context_); };
    co_await awaitCondition(contextDeviceLimits, isMissing);
}

ORBUpdateDevicesReply ORBRouteService::connectedDevices() const {
    if (const Device device = lmnDevice(*context_)) {
        ORBDebugLog(1, "Connected to context device {}", device->description());
        return {LMNDeviceCodable::from(*device)};
    }
    ORBUpdateDevicesReply reply;
    for (const Device& device : virtualDevices()) {
        reply.push_back(LMNDeviceCodable::from(*device));
    }
    return reply;
}

void ORBRouteService::scheduleOutputDevicesRefresh() { tasks_.spawn(refreshOutputDevices()); }

Task<> ORBRouteService::refreshOutputDevices() {
    const OutputDevices previous = std::exchange(outputDevices_, context_->outputDevices());
    outputDevicesDidChange(previous);
    mirrorDevice_->setRunning(true);
    mirrorDevice_->deviceTap().start();
    co_await reconnectIfNeeded();
    platform_.nowPlaying.setActive(mirrorDevice_->silentSeconds() == 0.0 &&
                                   mirrorDevice_->syncronizer().rate() > 0 && !outputDevices_.empty());
}

void ORBRouteService::outputDevicesDidChange(const OutputDevices& previous) {
    if (previous == outputDevices_) {
        return;
    }
    for (const OutputDevice& output : without(outputDevices_, previous)) {
        recordOutput(FlightKind::outputJoined, *output);
        mainQueue_.async(
            [this, device = LMNDeviceCodable::from(*lmnDevice(*output))] { send(DeviceConnected{device}); });
    }
    for (const OutputDevice& output : without(previous, outputDevices_)) {
        recordOutput(FlightKind::outputLeft, *output);
        mainQueue_.async([this, device = LMNDeviceCodable::from(*lmnDevice(*output))] {
            send(DeviceWasDisconnected{device});
        });
    }
    ORBDebugLog(0, "AVOutputContext devices changed {} -> {}", descriptions(previous),
                descriptions(outputDevices_));
    mirrorDevice_->outputDevicesChanged();
    updateVolumeObservers();
}

/// An update resets the renderer, which then finds that the devices are not yet those that are wanted. Taken
/// at its word, each reconnection would ask for the next one, every few milliseconds. So it is looked at
/// when no update is under way, and only counts if it is still so.
Task<> ORBRouteService::reconnectIfNeeded() {
    if (!mirrorDevice_->needsReconnect() || deviceUpdateInProgress_) {
        co_return;
    }
    mirrorDevice_->clearNeedsReconnect();
    const Devices playing = virtualDevices();
    const Devices wanted = mirrorDevice_->targetDevices();
    if (!without(playing, wanted).empty() || !without(wanted, playing).empty()) {
        co_await reconnect();
    }
}

Task<> ORBRouteService::reconnect() {
    const Devices targets = mirrorDevice_->targetDevices();
    ORBDebugLog(0, "Reconnecting to {}", descriptions(targets));
    std::set<LMNDeviceCodable> codables;
    for (const Device& device : targets) {
        codables.insert(LMNDeviceCodable::from(*device));
    }
    send(DeviceConnecting{codables});
    const ORBAppToServiceMessage request = UpdateDevices{codables};
    try {
        co_await handleMessage(request);
    } catch (const dispatch::CancellationError&) {
        throw;
    } catch (const std::exception& error) {
        ORBDebugLog(4, "Device reconnction failed with error {}", error.what());
    }
    for (const OutputDevice& output : context_->outputDevices()) {
        send(DeviceConnected{LMNDeviceCodable::from(*lmnDevice(*output))});
    }
}

/// Nobody waits for what comes of it: without a parent there is nobody to tell.
void ORBRouteService::send(const ORBServiceToAppMessage& message) const {
    try {
        if (messagePort_) {
            messagePort_->sendMessage(message);
        }
    } catch (const ORBMessagePortError&) {
    }
}

} // namespace orb
