// SPDX-License-Identifier: MIT
#include "platform/avfoundation/AVOutputContext.h"

#include "platform/foundation/coding/UUID.h"
#include "platform/lmn/LMNDeviceManager.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace avfoundation {
namespace {

/// Posts the notification of that name. Safe to run while the context goes: it only tells its identity.
std::function<void()> poster(foundation::NotificationCenter& center, const char* name,
                             const AVOutputContext* context) {
    return [&center, name, object = static_cast<const void*>(context)] { center.post(name, object); };
}

} // namespace

AVOutputContext::AVOutputContext(airplay::PlaybackSystem& system, foundation::NotificationCenter& center,
                                 AVOutputContextOptions options)
    : options_(std::move(options)),
      contextID_(foundation::UUID::random().string()),
      route_(system.makeRoute()),
      devicesChanged_(system.realm().mainQueue(),
                      poster(center, AVOutputContextOutputDevicesDidChangeNotification, this)),
      volumeChanged_(std::make_shared<dispatch::Signal>(
          system.realm().mainQueue(), poster(center, AVOutputContextVolumeDidChangeNotification, this))),
      association_(system.realm().mainQueue(), [this] { associate(); }),
      subscription_(route_->observeReceivers(
          [this](const airplay::Route::Receivers& receivers) { receiversChanged(receivers); })),
      control_(system.realm().mainQueue(), *route_, options_.alerts) {}

AVOutputContext::~AVOutputContext() = default;

std::vector<std::shared_ptr<AVOutputDevice>> AVOutputContext::outputDevices() const {
    const dispatch::LockGuard guard(lock_);
    return devices_;
}

std::shared_ptr<AVOutputDevice> AVOutputContext::outputDevice() const {
    const dispatch::LockGuard guard(lock_);
    return devices_.empty() ? nullptr : devices_.front();
}

std::optional<std::string> AVOutputContext::deviceName() const {
    const auto device = outputDevice();
    return device != nullptr ? std::optional(device->name()) : std::nullopt;
}

std::uint64_t AVOutputContext::outputDeviceFeatures() const {
    const auto device = outputDevice();
    return device != nullptr ? device->features() : 0;
}

void AVOutputContext::setApplicationProcessID(std::int32_t process) {
    process_.store(process);
    route_->setProcess(process);
}

std::optional<std::string> AVOutputContext::associatedAudioDeviceID() const {
    const dispatch::LockGuard guard(lock_);
    return associatedAudioDeviceID_;
}

bool AVOutputContext::canSetVolume() const { return outputDevice() != nullptr; }

float AVOutputContext::volume() const {
    const auto device = outputDevice();
    return device != nullptr ? device->volume() : 0;
}

void AVOutputContext::setVolume(float volume) {
    for (const auto& device : outputDevices()) {
        device->setVolume(volume);
    }
}

void AVOutputContext::receiversChanged(const airplay::Route::Receivers& receivers) {
    updateDevices(receivers);
    observeVolumes(receivers);
    updateAssociation();
    devicesChanged_.raise();
}

void AVOutputContext::updateDevices(const airplay::Route::Receivers& receivers) {
    std::vector<std::shared_ptr<AVOutputDevice>> devices = outputDevices();
    std::erase_if(devices, [&](const auto& device) {
        return std::ranges::find(receivers, device->receiver()) == receivers.end();
    });
    for (std::size_t index = devices.size(); index < receivers.size(); ++index) { // new ones come last
        devices.push_back(std::make_shared<AVOutputDevice>(receivers[index]));
    }
    const dispatch::LockGuard guard(lock_);
    devices_ = std::move(devices);
}

void AVOutputContext::observeVolumes(const airplay::Route::Receivers& receivers) {
    std::map<const airplay::Receiver*, foundation::Subscription> volumes;
    for (const auto& receiver : receivers) {
        auto known = volumes_.extract(receiver.get());
        if (!known.empty()) {
            volumes.insert(std::move(known));
        } else {
            volumes.emplace(receiver.get(),
                            receiver->observeVolume([changed = volumeChanged_](float) { changed->raise(); }));
        }
    }
    volumes_ = std::move(volumes);
}

void AVOutputContext::updateAssociation() {
    if (!options_.associatesAudioDevice) {
        return;
    }
    if (!canSetVolume()) { // no device is left
        association_.cancel();
        const dispatch::LockGuard guard(lock_);
        associatedAudioDeviceID_.reset();
    } else if (!association_.isArmed() && !associatedAudioDeviceID()) {
        association_.armAfter(associationDelay);
    }
}

void AVOutputContext::associate() {
    std::string identifier =
        fmt::format("{}{}", lmn::systemDeviceUIDPrefix, outputDevice()->logicalDeviceID());
    const dispatch::LockGuard guard(lock_);
    associatedAudioDeviceID_ = std::move(identifier);
}

} // namespace avfoundation
