// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/PlaybackSystem.h"
#include "platform/avfoundation/AVOutputDevice.h"
#include "platform/dispatch/Signal.h"
#include "platform/foundation/NotificationCenter.h"

#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace avfoundation {

/// Posted on the main queue after the devices of a context have changed, the context being the object.
/// Changes made in one turn of the queue are told as one.
inline constexpr const char* AVOutputContextOutputDevicesDidChangeNotification =
    "AVOutputContextOutputDevicesDidChangeNotification";

/// The place where the sound of a process goes: a set of output devices that play in step. Owned by whoever
/// plays to them. On the main queue, destruction included; `outputDevices` and the identifiers on any thread.
class AVOutputContext {
  public:
    /// A context without devices and without a process. `system` and `center` outlive it.
    AVOutputContext(airplay::PlaybackSystem& system, foundation::NotificationCenter& center);
    ~AVOutputContext();
    AVOutputContext(const AVOutputContext&) = delete;
    AVOutputContext& operator=(const AVOutputContext&) = delete;

    /// An identifier that no other context has, a UUID in upper case.
    const std::string& contextID() const noexcept { return contextID_; }

    /// The connected devices, in the order of their connection; the same object for a receiver as long as
    /// it stays connected.
    std::vector<std::shared_ptr<AVOutputDevice>> outputDevices() const;

    /// Plays the sound of a process, and of no other, here and nowhere else.
    void setApplicationProcessID(std::int32_t process);
    /// 0 while none was set.
    std::int64_t applicationProcessID() const noexcept { return process_.load(); }

    /// For whoever connects and disconnects receivers.
    airplay::Route& route() noexcept { return *route_; }

  private:
    void receiversChanged(const airplay::Route::Receivers& receivers);

    const std::string contextID_;
    const std::unique_ptr<airplay::Route> route_;
    std::atomic<std::int32_t> process_{0}; // written on the main queue, read by anybody
    mutable dispatch::Lock lock_;
    std::vector<std::shared_ptr<AVOutputDevice>> devices_ ORB_GUARDED_BY(lock_);
    dispatch::Signal devicesChanged_;
    foundation::Subscription subscription_;
};

} // namespace avfoundation
