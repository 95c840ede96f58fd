// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/embedded/EmbeddedReceiver.h"

#include <memory>
#include <vector>

namespace airplay {

/// What an observer hears, laid out on the time line; only the left channel, the right one must be its
/// negative. Copies, and the observers, share it, so that it may go before the receiver.
class Recording {
  public:
    FrameObserver observer() const {
        return [heard = heard_](std::span<const float> frames, FrameIndex first) {
            const auto begin = static_cast<std::size_t>(first);
            heard->broken = heard->broken || begin < heard->left.size();
            heard->left.resize(begin + frames.size() / channelCount, 0.0F);
            for (std::size_t frame = 0; frame < frames.size() / channelCount; ++frame) {
                heard->left[begin + frame] = frames[2 * frame];
                heard->broken = heard->broken || frames[2 * frame + 1] != -frames[2 * frame];
            }
        };
    }

    const std::vector<float>& left() const { return heard_->left; }
    /// Whether frames came twice, out of order, or with mixed up channels.
    bool isBroken() const { return heard_->broken; }

  private:
    struct Heard {
        std::vector<float> left;
        bool broken = false;
    };

    std::shared_ptr<Heard> heard_ = std::make_shared<Heard>();
};

} // namespace airplay
