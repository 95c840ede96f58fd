// SPDX-License-Identifier: MIT
// How the sound is rendered, and how loud.
#include "ORBRouteService/ORBRouteService.h"

#include "ORBRouteService/devices/AVOutputDeviceAccessors.h"
#include "ORBRouteService/log/ORBDebugLog.h"
#include "ORBRouteService/log/flight/FlightRecorder.h"

#include "platform/lmn/LMNDeviceOverrides.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace orb {
namespace {

/// Volumes that differ by no more are the same: it keeps the two sides from answering each other.
constexpr double sameVolume = 0.001;

void recordVolume(FlightKind kind, const lmn::LMNDevice& device, const AVOutputDeviceProtocol& output,
                  double before, double after) {
    const std::string outputName = output.name();
    recordFlight(kind, {.subject = device.name(), .text = outputName, .numbers = {before, after}});
}

/// Copies the volume of a virtual device to its output. Any thread.
void syncVolume(AVOutputDeviceProtocol& output, lmn::LMNDevice& device) {
    const auto target = static_cast<float>(device.volume().get() * (device.isMuted().get() ? 0.0 : 1.0));
    const float current = output.volume();
    if (std::abs(static_cast<double>(target) - current) > sameVolume) {
        ORBDebugLog(0, "{} -> {} volume sync {} -> {}", device.description(), output.description(),
                    LogNumber{current}, LogNumber{target});
        recordVolume(FlightKind::volumeToOutput, device, output, current, target);
        output.setVolume(target);
    }
}

} // namespace

void ORBRouteService::updateRenderDeviceConfiguration() {
    ORBDebugLog(0, "Updating render device configuration");
    ORBMirrorDevice::Devices targets;
    const std::shared_ptr<lmn::ServedDevice> served = mirrorDevice_ ? keepServed() : nullptr;
    if (mirrorDevice_) {
        mirrorDevice_->setRunning(false);
        mirrorDevice_->deviceTap().stop();
        mirrorDevice_->runner().stop();
        targets = mirrorDevice_->targetDevices();
    }
    std::shared_ptr<ORBMirrorDevice> rebuilt = makeMirrorDevice();
    rebuilt->setTargetDevices(std::move(targets));
    mirrorDevice_ = std::move(rebuilt);
    if (!outputDevices_.empty()) {
        mirrorDevice_->outputDevicesChanged(); // to it they are new, and nobody else will tell
    }
}

/// While it lives, whoever plays into the context device stays connected, though nobody captures it.
std::shared_ptr<lmn::ServedDevice> ORBRouteService::keepServed() const {
    try {
        return platform_.lmn.audioServer().serve(contextDevice_);
    } catch (const lmn::AudioServerError&) {
        return nullptr; // nobody is connected, and the tap will say why
    }
}

std::shared_ptr<ORBMirrorDevice> ORBRouteService::makeMirrorDevice() {
    return ORBMirrorDevice::create(
        {.lmn = platform_.lmn,
         .playback = platform_.playback,
         .notifications = platform_.notifications,
         .manager = platform_.manager,
         .tapActivity = tapActivity_,
         .lastPause = [&nowPlaying = platform_.nowPlaying] { return nowPlaying.lastPause(); },
         .reexamineRenderState = [this] { scheduleOutputDevicesRefresh(); },
         .enqueueObserver = {}},
        {.contextDevice = contextDevice_,
         .context = context_,
         .chunkSize = platform_.manager.renderChunkSize(),
         .renderSampleRate = ORBManager::renderSampleRate,
         .syncLatency = platform_.manager.renderLatency()});
}

void ORBRouteService::applyDeviceOverrides() {
    const auto overrides = lmn::LMNDeviceOverrides::withDeviceReference(platform_.lmn.deviceManager(),
                                                                        contextDevice_->reference());
    if (overrides) {
        contextDevice_->setOverride(overrides->valueForKey(lmn::LMNDeviceHasVolumeKey),
                                    lmn::LMNDeviceHasVolumeKey);
    }
}

/// One that joins silent takes over the volume of the device that was asked for; one that has a volume keeps
/// it and passes it on.
void ORBRouteService::pushDeviceVolume(AVOutputDeviceProtocol& output, lmn::LMNDevice& device) {
    const double joinedWith = output.volume();
    const double volume = joinedWith > 0 ? joinedWith : std::max(joinedWith, device.volume().get());
    output.setVolume(static_cast<float>(volume));
    const Device own = lmnDevice(output);
    own->setMuted(volume == 0);
    own->setVolume(volume);
}

void ORBRouteService::updateVolumeObservers() {
    volumeObservers_.clear();
    if (!context_) {
        return;
    }
    volumeObservers_.push_back(platform_.notifications.observe(
        avfoundation::AVOutputContextVolumeDidChangeNotification, context_->notificationObject(), &mainQueue_,
        [this](const foundation::Notification&) {
            recordFlight(FlightKind::notice, {.subject = "volumeDidChange"});
            volumeSettled_.touch();
        }));
    for (const OutputDevice& output : outputDevices_) {
        const Device device = lmnDevice(*output);
        const auto sync = [output, device = device.get()](const auto&) { syncVolume(*output, *device); };
        volumeObservers_.push_back(device->volume().observe(sync));
        volumeObservers_.push_back(device->isMuted().observe(sync));
    }
}

void ORBRouteService::syncVolumesFromOutputDevices() {
    for (const OutputDevice& output : outputDevices_) {
        const Device device = lmnDevice(*output);
        const double current = device->volume().get();
        const double volume = device->isMuted().get() ? current : output->volume();
        if (std::abs(output->volume() - current) > sameVolume) {
            ORBDebugLog(0, "{} -> {} volume sync {} -> {}", output->description(), device->description(),
                        LogNumber{current}, LogNumber{volume});
            recordVolume(FlightKind::volumeFromOutput, *device, *output, current, volume);
            device->setVolume(volume);
        }
    }
}

} // namespace orb
