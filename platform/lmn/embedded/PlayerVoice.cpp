// SPDX-License-Identifier: MIT
#include "platform/lmn/embedded/PlayerVoice.h"

#include <utility>

namespace lmn {

void PlayerVoice::join(LMNProcess process) {
    process_ = std::move(process);
    fifo_.reset();
    ended_.store(false);
    hasPlayed_ = false;
    state_.store(State::filling, std::memory_order_release);
}

bool PlayerVoice::startIfReady() {
    // An exchange even when nothing changes: of the two sides, the one whose exchange is later then sees what
    // the other did before its own, and acts on it. So a player never waits that has enough to go on.
    State seen = State::playing;
    if (state_.compare_exchange_strong(seen, State::playing) || seen != State::filling || !hasEnough())
        return false;
    hasPlayed_ = true;
    state_.store(State::playing, std::memory_order_release);
    return true;
}

void PlayerVoice::advance(std::uint32_t frames) noexcept {
    blockSamples_ = 0;
    if (state() != State::playing)
        return;
    const bool ended = hasEnded(); // read first: what is missing now is then missing for good
    const std::span<float> block = std::span(block_).first(std::size_t{frames} * ServedDevice::channelCount);
    const std::size_t taken = fifo_.read(block);
    if (taken > 0) {
        std::ranges::fill(block.subspan(taken * ServedDevice::channelCount), 0.0F);
        blockSamples_ = block.size();
    }
    if (taken == frames)
        return;
    if (!ended) {
        underruns_.fetch_add(1, std::memory_order_relaxed);
        state_.exchange(State::filling);
    } else if (taken == 0) { // a period after the last block, which is still to be mixed until then
        state_.exchange(State::drained);
    }
}

bool PlayerVoice::needsAttention() const {
    switch (state()) {
        case State::drained:
            return true;
        case State::filling:
            return hasEnough() || wantsFrames();
        case State::playing:
            return wantsFrames();
        case State::free:
            break;
    }
    return false;
}

} // namespace lmn
