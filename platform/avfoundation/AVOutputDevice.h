// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/Receiver.h"
#include "platform/foundation/coding/Data.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace avfoundation {

/// The key of `airPlayProperties` under which the receiver's TXT record stands.
inline constexpr const char* AirPlayTXTRecord = "AirPlayTXTRecord";

/// A receiver as players see it. Shared by those who asked a context for it; keeps no state of its own. Any
/// thread.
class AVOutputDevice {
  public:
    explicit AVOutputDevice(std::shared_ptr<airplay::Receiver> receiver) : receiver_(std::move(receiver)) {}

    const std::string& name() const noexcept;
    const std::string& ID() const noexcept;
    const std::string& deviceID() const noexcept { return ID(); }

    /// The identifier of the group whose part it is (TXT "gid"), else its own.
    const std::string& logicalDeviceID() const noexcept;

    /// TXT "deviceid", else the identifier.
    const std::string& identifyingMACAddress() const noexcept;

    /// TXT "model" and "manufacturer"; empty when there is none.
    std::string modelID() const;
    std::string manufacturer() const;

    /// Whether bit 40 is set in TXT "features" ("0xLOW,0xHIGH", 32 bits each, or one number of 64 bits).
    bool supportsBufferedAirPlay() const noexcept;

    /// Under `AirPlayTXTRecord` the TXT record as DNS service discovery carries it. Absent for a receiver
    /// without any.
    std::map<std::string, foundation::Data> airPlayProperties() const;

    /// The receiver's own, 0 to 1.
    float volume() const noexcept { return receiver_->volume(); }
    void setVolume(float volume) noexcept { receiver_->setVolume(volume); }

    const std::shared_ptr<airplay::Receiver>& receiver() const noexcept { return receiver_; }

  private:
    const std::string* txt(const char* key) const noexcept;

    const std::shared_ptr<airplay::Receiver> receiver_;
};

} // namespace avfoundation
