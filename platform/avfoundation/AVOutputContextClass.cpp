// SPDX-License-Identifier: MIT
#include "platform/avfoundation/AVOutputContextClass.h"

#include <algorithm>

namespace avfoundation {

using Context = AVOutputContextClass::Context;

AVOutputContextClass::AVOutputContextClass(AVOutputContextClassParts parts) : parts_(parts) {
    parts_.deviceManager.setSystemDevices([this] { return systemDevices(); });
}

AVOutputContextClass::~AVOutputContextClass() { parts_.deviceManager.setSystemDevices({}); }

Context AVOutputContextClass::init() { return make("output", AssociatedAudioDevice::none); }

Context AVOutputContextClass::sharedAudioPresentationOutputContext() {
    return shared("sharedAudioPresentation");
}

Context AVOutputContextClass::auxiliaryOutputContext() {
    return make("auxiliary", AssociatedAudioDevice::none);
}

Context AVOutputContextClass::defaultSharedOutputContext() {
    return shared("defaultShared", AssociatedAudioDevice::some);
}

Context AVOutputContextClass::sharedSystemAudioContext() { return shared("sharedSystemAudio"); }

Context AVOutputContextClass::iTunesAudioContext() { return shared("iTunesAudio"); }

Context AVOutputContextClass::outputContext() { return init(); }

Context AVOutputContextClass::outputContextForID(std::string_view identifier) const {
    for (const Context& context : living()) {
        if (context->ID() == identifier) {
            return context;
        }
    }
    return nullptr;
}

Context AVOutputContextClass::outputContextForControllingOutputDeviceGroupWithID(
    std::string_view group) const {
    for (const Context& context : living()) {
        const auto devices = context->outputDevices();
        if (std::ranges::any_of(devices,
                                [group](const auto& device) { return device->logicalDeviceID() == group; })) {
            return context;
        }
    }
    return nullptr;
}

Context AVOutputContextClass::make(const char* type, AssociatedAudioDevice associated) {
    auto context = std::make_shared<AVOutputContext>(
        parts_.playback, parts_.notifications,
        AVOutputContextOptions{.type = type,
                               .supportsMultipleOutputDevices = true,
                               .associatesAudioDevice = associated == AssociatedAudioDevice::some,
                               .alerts = parts_.alerts});
    std::erase_if(contexts_, [](const auto& weak) { return weak.expired(); });
    contexts_.push_back(context);
    return context;
}

Context AVOutputContextClass::shared(const char* type, AssociatedAudioDevice associated) {
    Context& context = shared_[type];
    if (context == nullptr) {
        context = make(type, associated);
    }
    return context;
}

std::vector<Context> AVOutputContextClass::living() const {
    std::vector<Context> living;
    for (const auto& weak : contexts_) {
        if (auto context = weak.lock()) {
            living.push_back(std::move(context));
        }
    }
    return living;
}

std::vector<lmn::LMNVirtualDeviceConfig> AVOutputContextClass::systemDevices() const {
    std::vector<lmn::LMNVirtualDeviceConfig> devices;
    for (const Context& context : living()) {
        if (const auto identifier = context->associatedAudioDeviceID()) {
            devices.push_back(
                {.name = context->deviceName().value_or(""), .deviceUID = *identifier, .isAirPlay = true});
        }
    }
    return devices;
}

} // namespace avfoundation
