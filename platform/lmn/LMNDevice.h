// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Ownership.h"
#include "platform/foundation/FileWatcher.h"
#include "platform/foundation/JsonFile.h"
#include "platform/foundation/Observable.h"
#include "platform/foundation/RuntimeDirectory.h"
#include "platform/lmn/LMNReferences.h"

#include <boost/json/object.hpp>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace lmn {

/// What a virtual device is, apart from its state.
struct LMNVirtualDeviceConfig {
    enum class Scope : std::uint32_t { input = 0x696E7074 /* 'inpt' */, output = 0x6F757470 /* 'outp' */ };

    std::string name;
    std::string deviceUID;
    bool hidden = false;
    bool isAirPlay = false;
    std::uint32_t inputChannels = 0;
    std::uint32_t outputChannels = 2;

    void setChannelCount(std::uint32_t count, Scope scope) {
        (scope == Scope::input ? inputChannels : outputChannels) = count;
    }
};

/// A virtual audio device. Its volume, mute and overrides are shared by all processes of the user that have
/// the device: they live in `state.json` in the device's directory, and a change by one process shows in the
/// others. Made by the `LMNDeviceManager` and shared by all who use it; any thread.
class LMNDevice {
  public:
    /// `directory` is the device's own. State that cannot be read counts as absent; the log says why.
    LMNDevice(LMNVirtualDeviceConfig config, foundation::RuntimeDirectory directory,
              dispatch::Queue& mainQueue);
    ~LMNDevice();

    const LMNVirtualDeviceConfig& config() const { return config_; }
    const std::string& deviceUID() const { return config_.deviceUID; }
    const std::string& name() const { return config_.name; }
    const std::string& displayName() const { return config_.name; }
    std::uint32_t channelCount() const { return config_.outputChannels; }
    bool isAirPlay() const { return config_.isAirPlay; }

    /// What another object may refer to the device by: its UID.
    const std::string& reference() const { return config_.deviceUID; }

    /// 0 to 1. Observers are called on the thread that changes it; a change by another process arrives on
    /// the main queue.
    foundation::Observable<double>& volume() { return volume_; }
    void setVolume(double volume);

    /// As `volume`.
    foundation::Observable<bool>& isMuted() { return isMuted_; }
    void setMuted(bool muted);

    /// The processes that have sound in the device. Changes come on a thread of the audio server.
    foundation::Observable<LMNProcessSet>& activeProcesses() { return activeProcesses_; }

    /// The per-device store of whoever uses the framework; nothing under a key: nullopt.
    std::optional<boost::json::value> overrideForKey(std::string_view key) const;
    void setOverride(std::optional<boost::json::value> value, std::string_view key);

    /// Where the device's socket and state are.
    const foundation::RuntimeDirectory& directory() const { return directory_; }

    /// "<LMNDevice " and the UID.
    std::string description() const;

  private:
    void changeState(dispatch::FunctionRef<void(boost::json::object&)> change);
    void readState();
    void adoptState(const boost::json::object& state);

    const LMNVirtualDeviceConfig config_;
    const foundation::RuntimeDirectory directory_;
    const foundation::JsonFile stateFile_;
    foundation::Observable<double> volume_{1.0};
    foundation::Observable<bool> isMuted_{false};
    foundation::Observable<LMNProcessSet> activeProcesses_;
    mutable dispatch::Lock overridesLock_;
    boost::json::object overrides_ ORB_GUARDED_BY(overridesLock_);
    std::unique_ptr<foundation::FileWatcher> watcher_; // of the main queue
};

} // namespace lmn
