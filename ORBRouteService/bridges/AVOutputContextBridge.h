// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/bridges/AVOutputDeviceBridge.h"
#include "ORBRouteService/devices/AVOutputContextProtocol.h"

#include "platform/avfoundation/AVOutputContext.h"
#include "platform/dispatch/Ownership.h"

namespace orb {

/// A context of the system, handed on as it is, with the bridges of its devices, each of which it keeps as
/// long as the device is there. Shared with whoever uses the context, whose threads it has.
class AVOutputContextBridge final : public AVOutputContextProtocol {
  public:
    using Context = std::shared_ptr<avfoundation::AVOutputContext>;

    explicit AVOutputContextBridge(Context context) : context_(std::move(context)) {}

    /// The system's context behind the service's; nullptr for nullptr. A context that is not the system's
    /// cannot be asked for.
    static Context contextBehind(const std::shared_ptr<AVOutputContextProtocol>& context);

    std::shared_ptr<AVOutputDeviceProtocol> outputDevice() const override;
    std::string contextID() const override { return context_->contextID(); }
    std::vector<std::shared_ptr<AVOutputDeviceProtocol>> outputDevices() const override;
    void setApplicationProcessID(std::int32_t process) override {
        context_->setApplicationProcessID(process);
    }
    std::string ID() const override { return context_->ID(); }
    std::int64_t applicationProcessID() const override { return context_->applicationProcessID(); }
    std::optional<std::string> associatedAudioDeviceID() const override {
        return context_->associatedAudioDeviceID();
    }
    bool canSetVolume() const override { return context_->canSetVolume(); }
    std::optional<std::string> deviceName() const override { return context_->deviceName(); }
    std::string outputContextType() const override { return context_->outputContextType(); }
    std::uint64_t outputDeviceFeatures() const override { return context_->outputDeviceFeatures(); }
    float volume() const override { return context_->volume(); }
    void setVolume(float volume) override { context_->setVolume(volume); }
    bool supportsMultipleOutputDevices() const override { return context_->supportsMultipleOutputDevices(); }
    const void* notificationObject() const override { return context_.get(); }

  private:
    const Context context_;
    mutable dispatch::Lock lock_;
    mutable std::vector<std::shared_ptr<AVOutputDeviceBridge>> devices_ ORB_GUARDED_BY(lock_); // as last seen
};

} // namespace orb
