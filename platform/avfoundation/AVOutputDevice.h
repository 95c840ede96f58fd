// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/Receiver.h"
#include "platform/dispatch/Ownership.h"
#include "platform/foundation/coding/Data.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace avfoundation {

/// The key of `airPlayProperties` under which the receiver's TXT record stands.
inline constexpr const char* AirPlayTXTRecord = "AirPlayTXTRecord";

/// What there is of output devices as such: they are made by the contexts alone, so that nothing can be asked
/// of their class but whether the system has it.
struct AVOutputDeviceClass {};

/// A receiver as players see it: as it describes itself now, but for what was set here, which changes what
/// this object says and nothing else. Only the volume is the receiver's own. Shared by those who asked a
/// context for it. Any thread.
class AVOutputDevice {
  public:
    using Properties = std::map<std::string, foundation::Data>;

    explicit AVOutputDevice(std::shared_ptr<airplay::Receiver> receiver) : receiver_(std::move(receiver)) {}

    std::string name() const;
    void setName(std::string name);

    /// The identifier of the group whose part it is (TXT "gid"), else its own.
    std::string logicalDeviceID() const;
    void setLogicalDeviceID(std::string identifier);

    /// TXT "deviceid", else the identifier.
    std::string identifyingMACAddress() const;
    void setIdentifyingMACAddress(std::string address);

    /// Under `AirPlayTXTRecord` the TXT record as DNS service discovery carries it; empty for a receiver
    /// without any.
    Properties airPlayProperties() const;
    void setAirPlayProperties(Properties properties);

    /// TXT "model" and "manufacturer"; empty when there is none.
    std::string modelID() const;
    void setModelID(std::string model);

    std::string ID() const;
    void setID(std::string identifier);

    std::string manufacturer() const;
    void setManufacturer(std::string manufacturer);

    /// The receiver's own, 0 to 1.
    float volume() const { return receiver_->volume(); }
    void setVolume(float volume) { receiver_->setVolume(volume); }

    /// Whether bit 40 of `features` is set.
    bool supportsBufferedAirPlay() const;
    void setSupportsBufferedAirPlay(bool supports);

    /// TXT "features" ("0xLOW,0xHIGH", 32 bits each, or one number of 64 bits); 0 when there are none.
    std::uint64_t features() const;

    const std::shared_ptr<airplay::Receiver>& receiver() const noexcept { return receiver_; }

    /// "<AVOutputDevice: NAME (ID)>", for logs.
    std::string description() const;

  private:
    /// What was set here.
    struct Settings {
        std::optional<std::string> name, logicalDeviceID, identifyingMACAddress, modelID, ID, manufacturer;
        std::optional<Properties> airPlayProperties;
        std::optional<bool> supportsBufferedAirPlay;
    };

    template <typename Value>
    void set(std::optional<Value> Settings::*setting, Value value);
    template <typename Value>
    std::optional<Value> setting(std::optional<Value> Settings::*setting) const;
    std::optional<std::string> txt(const char* key) const;

    const std::shared_ptr<airplay::Receiver> receiver_;
    mutable dispatch::Lock lock_;
    Settings settings_ ORB_GUARDED_BY(lock_);
};

} // namespace avfoundation
