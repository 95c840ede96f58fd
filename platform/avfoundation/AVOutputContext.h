// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/PlaybackSystem.h"
#include "platform/airplay/RouteControl.h"
#include "platform/avfoundation/AVOutputDevice.h"
#include "platform/dispatch/Signal.h"
#include "platform/dispatch/Timer.h"
#include "platform/foundation/NotificationCenter.h"

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace avfoundation {

/// Posted on the main queue, the context being the object, after the devices of a context have changed, or
/// the volume of one of them, whoever changed it. Changes made in one turn of the queue are told as one.
inline constexpr const char* AVOutputContextOutputDevicesDidChangeNotification =
    "AVOutputContextOutputDevicesDidChangeNotification";
inline constexpr const char* AVOutputContextVolumeDidChangeNotification =
    "AVOutputContextVolumeDidChangeNotification";

/// What kind of context it is.
struct AVOutputContextOptions {
    std::string type = "output";               // what `outputContextType` says
    bool supportsMultipleOutputDevices = true; // what that says
    bool associatesAudioDevice = false;        // see `associatedAudioDeviceID`
    airplay::UserAlerts* alerts = nullptr;     // asks the user for receivers; nullptr: nobody is there
};

/// The place where the sound of a process goes: a set of output devices that play in step. Shared by whoever
/// plays to them. On the main queue, destruction included; what is const on any thread.
class AVOutputContext {
  public:
    /// Time from the connection of the first device to the associated audio device.
    static constexpr std::chrono::milliseconds associationDelay{250};

    /// A context without devices and without a process. `system`, `center` and the alerts outlive it.
    AVOutputContext(airplay::PlaybackSystem& system, foundation::NotificationCenter& center,
                    AVOutputContextOptions options = {});
    ~AVOutputContext();
    AVOutputContext(const AVOutputContext&) = delete;
    AVOutputContext& operator=(const AVOutputContext&) = delete;

    /// The connected devices, in the order of their connection; the same object for a receiver as long as
    /// it stays connected.
    std::vector<std::shared_ptr<AVOutputDevice>> outputDevices() const;

    /// The first of them; nullptr when there is none. `deviceName` is its name, nullopt when there is none.
    std::shared_ptr<AVOutputDevice> outputDevice() const;
    std::optional<std::string> deviceName() const;

    /// TXT "features" of the first device; 0 when there are none.
    std::uint64_t outputDeviceFeatures() const;

    /// An identifier that no other context has, a UUID in upper case. Both are the same.
    const std::string& contextID() const noexcept { return contextID_; }
    const std::string& ID() const noexcept { return contextID_; }

    /// Plays the sound of a process, and of no other, here and nowhere else.
    void setApplicationProcessID(std::int32_t process);
    /// 0 while none was set.
    std::int64_t applicationProcessID() const noexcept { return process_.load(); }

    /// The UID of the audio device of the system that stands for all devices together, if contexts of this
    /// kind have one: from `associationDelay` after the first device was connected until the last one has
    /// gone: `lmn::systemDeviceUIDPrefix` and the `logicalDeviceID` of the device that came first.
    std::optional<std::string> associatedAudioDeviceID() const;

    /// Whether there is a device.
    bool canSetVolume() const;
    /// The first device's, 0 to 1; 0 without. Setting it sets that of all devices.
    float volume() const;
    void setVolume(float volume);

    const std::string& outputContextType() const noexcept { return options_.type; }
    bool supportsMultipleOutputDevices() const noexcept { return options_.supportsMultipleOutputDevices; }

    /// What is connected, and for whoever connects and disconnects receivers.
    airplay::Route& route() noexcept { return *route_; }
    airplay::RouteControl& control() noexcept { return control_; }

  private:
    void receiversChanged(const airplay::Route::Receivers& receivers);
    void updateDevices(const airplay::Route::Receivers& receivers);
    void observeVolumes(const airplay::Route::Receivers& receivers);
    void updateAssociation();
    void associate();

    const AVOutputContextOptions options_;
    const std::string contextID_;
    const std::unique_ptr<airplay::Route> route_;
    std::atomic<std::int32_t> process_{0}; // written on the main queue, read by anybody
    mutable dispatch::Lock lock_;
    std::vector<std::shared_ptr<AVOutputDevice>> devices_ ORB_GUARDED_BY(lock_);
    std::optional<std::string> associatedAudioDeviceID_ ORB_GUARDED_BY(lock_);
    dispatch::Signal devicesChanged_;
    const std::shared_ptr<dispatch::Signal> volumeChanged_; // shared with calls under way on other threads
    std::map<const airplay::Receiver*, foundation::Subscription> volumes_; // main queue
    dispatch::Timer association_;
    foundation::Subscription subscription_;
    airplay::RouteControl control_; // goes first: it disconnects what it has connected
};

} // namespace avfoundation
