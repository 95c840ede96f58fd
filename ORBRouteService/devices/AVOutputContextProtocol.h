// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/devices/AVOutputDeviceProtocol.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orb {

/// The service's view of an output context of the system: which AirPlay devices are routed to it. What the
/// service finds out by it is in AVOutputContextAccessors.h. Its identity is the context's. Main queue, or
/// the synchronous hops from it.
class AVOutputContextProtocol {
  public:
    AVOutputContextProtocol() = default;
    virtual ~AVOutputContextProtocol() = default;
    AVOutputContextProtocol(const AVOutputContextProtocol&) = delete;
    AVOutputContextProtocol& operator=(const AVOutputContextProtocol&) = delete;

    /// The first of `outputDevices`; nullptr when there is none.
    virtual std::shared_ptr<AVOutputDeviceProtocol> outputDevice() const = 0;
    virtual std::string contextID() const = 0;

    /// The devices that are routed to the context now.
    virtual std::vector<std::shared_ptr<AVOutputDeviceProtocol>> outputDevices() const = 0;

    /// Ties the context to a process, whose sound it plays.
    virtual void setApplicationProcessID(std::int32_t process) = 0;
    virtual std::string ID() const = 0;
    virtual std::int64_t applicationProcessID() const = 0;

    /// UID of the audio device that the system associates with the context.
    virtual std::optional<std::string> associatedAudioDeviceID() const = 0;
    virtual bool canSetVolume() const = 0;
    virtual std::optional<std::string> deviceName() const = 0;
    virtual std::string outputContextType() const = 0;
    virtual std::uint64_t outputDeviceFeatures() const = 0;

    /// 0 to 1.
    virtual float volume() const = 0;
    virtual void setVolume(float volume) = 0;
    virtual bool supportsMultipleOutputDevices() const = 0;

    /// The object of the context's notifications.
    virtual const void* notificationObject() const = 0;
};

/// The service's view of the contexts that the system has and makes. Main queue.
class AVOutputContextClassProtocol {
  public:
    using Context = std::shared_ptr<AVOutputContextProtocol>;

    AVOutputContextClassProtocol() = default;
    virtual ~AVOutputContextClassProtocol() = default;
    AVOutputContextClassProtocol(const AVOutputContextClassProtocol&) = delete;
    AVOutputContextClassProtocol& operator=(const AVOutputContextClassProtocol&) = delete;

    /// A new context.
    virtual Context init() = 0;
    virtual Context sharedAudioPresentationOutputContext() = 0;
    virtual Context auxiliaryOutputContext() = 0;
    virtual Context defaultSharedOutputContext() = 0;
    virtual Context sharedSystemAudioContext() = 0;
    virtual Context iTunesAudioContext() = 0;
    virtual Context outputContext() = 0;

    /// nullptr when there is none such.
    virtual Context outputContextForID(std::string_view identifier) = 0;
    virtual Context outputContextForControllingOutputDeviceGroupWithID(std::string_view group) = 0;
};

} // namespace orb
