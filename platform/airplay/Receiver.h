// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/ReceiverOutput.h"

#include <map>
#include <memory>
#include <string>

namespace airplay {

/// What a receiver says of itself.
struct ReceiverDescription {
    std::string name;
    std::string identifier;                 ///< unique; like a MAC address: "A1:B2:C3:D4:E5:F6"
    std::map<std::string, std::string> txt; ///< its DNS service record, key to value
};

/// A device that sound can be sent to. Shared by the playback system and the output devices that stand for
/// it. Any thread, unless it says otherwise.
class Receiver {
  public:
    Receiver() = default;
    virtual ~Receiver() = default;
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;

    /// Never changes.
    virtual const ReceiverDescription& description() const noexcept = 0;

    /// The receiver's own knob, 0 to 1. What is set is kept within.
    virtual float volume() const noexcept = 0;
    virtual void setVolume(float volume) noexcept = 0;

    /// Begins to receive what a route with this time line plays. On the playout queue; one output at a time.
    virtual std::unique_ptr<ReceiverOutput> open(const FrameGrid& grid) = 0;
};

} // namespace airplay
