// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/FrameGrid.h"

#include <span>

namespace airplay {

/// Where the sound of a route goes for one receiver, from its first connection until the route ends.
///
/// Every operation runs on the playout queue, throws nothing, and is meant to come back soon: the other
/// receivers of the route wait. The calls of `play` and `silenceUntil` adjoin: each begins at the frame at
/// which the one before ended, the first one at frame 0. Frames arrive at about the time at which they are
/// due, in pieces of any length; an output with a way to go delays them all by the same time.
class ReceiverOutput {
  public:
    ReceiverOutput() = default;
    virtual ~ReceiverOutput() = default;
    ReceiverOutput(const ReceiverOutput&) = delete;
    ReceiverOutput& operator=(const ReceiverOutput&) = delete;

    /// The interleaved stereo frames from `first` on. Samples may exceed 1; the volume is not applied.
    virtual void play(std::span<const float> frames, FrameIndex first) noexcept = 0;

    /// Nothing is heard up to, but without, frame `end`.
    virtual void silenceUntil(FrameIndex end) noexcept = 0;

    /// The route is at its end, which is frame `end` for all its receivers. The last call.
    virtual void finish(FrameIndex end) noexcept = 0;
};

} // namespace airplay
