// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/ReceiverConnection.h"
#include "platform/airplay/ReceiverOutput.h"
#include "platform/foundation/Subscription.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace airplay {

/// What a receiver says of itself.
struct ReceiverDescription {
    std::string name;
    std::string identifier;                 ///< unique; like a MAC address: "A1:B2:C3:D4:E5:F6"
    std::map<std::string, std::string> txt; ///< its DNS service record, key to value; values are any bytes
    std::optional<std::string> row; ///< a picker shows it in the row of that name, together with others there

    bool operator==(const ReceiverDescription&) const = default;
};

/// A device that sound can be sent to. Shared by the playback system and the output devices that stand for
/// it. Any thread, unless it says otherwise.
class Receiver {
  public:
    Receiver() = default;
    virtual ~Receiver() = default;
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;

    /// As the receiver describes itself now, never null. The identifier stays the same for ever.
    virtual std::shared_ptr<const ReceiverDescription> description() const = 0;

    /// The receiver's own knob, 0 to 1. What is set is kept within.
    virtual float volume() const noexcept = 0;
    virtual void setVolume(float volume) = 0;

    /// Calls the handler after each change of the volume, whoever made it, on the thread that made it.
    [[nodiscard]] virtual foundation::Subscription observeVolume(std::function<void(float)> handler) = 0;

    /// Begins to connect. On the main queue. Several connections know nothing of each other: which of those
    /// who made them is played to the receiver is settled elsewhere. `delegate` outlives the connection.
    virtual std::unique_ptr<ReceiverConnection> connect(ReceiverConnectionDelegate& delegate) = 0;

    /// Begins to receive what a route with this time line plays. On the playout queue; one output at a time.
    virtual std::unique_ptr<ReceiverOutput> open(const FrameGrid& grid) = 0;
};

} // namespace airplay
