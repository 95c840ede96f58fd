// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/embedded/EmbeddedReceiver.h"

#include <memory>

namespace airplay {

/// A connection that fares as the entry of its receiver said when it began. At any time there is at most one
/// thing that will happen next:
///
///     ask ──right answer──┐
///      ↑└──wrong──┘       ↓ connectDelay          lostAfter, or disconnect() and disconnectDelay
///     (none wanted) ──> conclude ──> connected ──> lost
///                           └──> refused, or lost where it vanishes, or nothing
///
/// Owned by whoever asked for it; main queue.
class EmbeddedConnection final : public ReceiverConnection {
  public:
    EmbeddedConnection(std::shared_ptr<EmbeddedReceiver> receiver, ReceiverConnectionDelegate& delegate,
                       dispatch::Queue& mainQueue);
    ~EmbeddedConnection() override;

    void answer(const Secret& secret) override;
    void disconnect() override;

    /// For the receiver only.
    void receiverVanished();

  private:
    enum class State { underWay, asking, leaving, over };

    /// What happens next, in a later turn, instead of what was to.
    void next(dispatch::Nanoseconds delay, void (EmbeddedConnection::*event)());

    void ask();
    void conclude();
    void connected();
    void refuse();
    void lose();

    const std::shared_ptr<EmbeddedReceiver> receiver_;
    const std::shared_ptr<const ReceiverEntry> entry_;
    ReceiverConnectionDelegate& delegate_;
    dispatch::Queue& mainQueue_;
    State state_ = State::underWay;
    std::shared_ptr<dispatch::DelayedWork> next_;
};

} // namespace airplay
