// SPDX-License-Identifier: MIT
#pragma once

#include "platform/avfoundation/AVOutputContext.h"
#include "platform/lmn/LMNDeviceManager.h"

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace avfoundation {

/// What the output contexts of a process work with; all outlive it and them.
struct AVOutputContextClassParts {
    airplay::PlaybackSystem& playback;
    foundation::NotificationCenter& notifications;
    airplay::UserAlerts* alerts; ///< nullptr: nobody is there to be asked
    lmn::LMNDeviceManager& deviceManager;
};

/// The output contexts of a process. The shared ones are made at first use, one each, and kept; the others
/// belong to those who ask for them. The associated audio devices of the contexts are what the device manager
/// is told as the system's own devices while this lives.
///
/// One per process, made by the composition root, outlived by no context that it made. On the main queue,
/// destruction included.
class AVOutputContextClass {
  public:
    using Context = std::shared_ptr<AVOutputContext>;

    explicit AVOutputContextClass(AVOutputContextClassParts parts);
    ~AVOutputContextClass();
    AVOutputContextClass(const AVOutputContextClass&) = delete;
    AVOutputContextClass& operator=(const AVOutputContextClass&) = delete;

    /// A new context.
    Context init();

    Context sharedAudioPresentationOutputContext();
    /// A new one: what it plays is nobody else's.
    Context auxiliaryOutputContext();
    /// The one for groups: only it has an associated audio device.
    Context defaultSharedOutputContext();
    Context sharedSystemAudioContext();
    Context iTunesAudioContext();
    /// A new one.
    Context outputContext();

    /// The living context of that identifier; nullptr when there is none.
    Context outputContextForID(std::string_view identifier) const;

    /// The living context that has a device of that group (`logicalDeviceID`); nullptr when there is none.
    Context outputContextForControllingOutputDeviceGroupWithID(std::string_view group) const;

  private:
    enum class AssociatedAudioDevice { none, some };

    Context make(const char* type, AssociatedAudioDevice associated);
    Context shared(const char* type, AssociatedAudioDevice associated = AssociatedAudioDevice::none);
    std::vector<Context> living() const;
    std::vector<lmn::LMNVirtualDeviceConfig> systemDevices() const;

    const AVOutputContextClassParts parts_;
    std::map<std::string, Context> shared_; // by type
    std::vector<std::weak_ptr<AVOutputContext>> contexts_;
};

} // namespace avfoundation
