// SPDX-License-Identifier: MIT
#pragma once

#include "platform/lmn/embedded/PlayerFifo.h"

#include <array>
#include <atomic>
#include <cstdint>

namespace lmn {

/// One player's place in the mix of a device. Places are used again, never freed while the device lives, so
/// that the IO queue can read them without a lock.
///
///     free --join--> filling --enough--> playing --ended and empty--> drained --noticed--> free
///                       ^--------ran dry--------'
///
/// `join`, and out of filling and drained: the server queue. Out of playing: the IO queue.
class PlayerVoice {
  public:
    enum class State { free, filling, playing, drained };

    /// Frames that a player sends ahead before it is let in, at first and after it ran dry: 0.1 s.
    static constexpr std::size_t prefill = 4410;

    State state() const { return state_.load(std::memory_order_acquire); }
    const LMNProcess& process() const { return process_; }
    PlayerFifo& fifo() { return fifo_; }
    bool hasEnded() const { return ended_.load(std::memory_order_acquire); }

    /// Whether it was let in since it joined. On the server queue.
    bool hasPlayed() const { return hasPlayed_; }

    /// Periods in which frames were missing.
    std::uint64_t underruns() const { return underruns_.load(std::memory_order_relaxed); }

    // On the server queue.

    void join(LMNProcess process);
    void end() { ended_.store(true, std::memory_order_release); }

    /// Lets the player in when it has sent enough, or all it will; true if so.
    bool startIfReady();
    void release() { state_.store(State::free, std::memory_order_release); }

    // On the IO queue; real-time.

    /// Takes the next frames (at most `LMNTapConfig::maximumFrameCount`) as the current block.
    void advance(std::uint32_t frames) noexcept;

    /// Frames of the current block, zeros behind what the player had; empty when it had nothing.
    std::span<const float> block() const { return {block_.data(), blockSamples_}; }

    /// Whether the server queue should look at it.
    bool needsAttention() const;

    /// Whether there is room worth waking its sender for. Any thread.
    bool wantsFrames() const { return fifo_.space() >= refill; }

    static constexpr std::size_t refill =
        8192; // frames: one wake-up of the sender's side for sixteen periods

  private:
    bool hasEnough() const { return fifo_.available() >= prefill || hasEnded(); }

    std::atomic<State> state_{State::free};
    LMNProcess process_; // written while free, read while not
    PlayerFifo fifo_;
    std::atomic<bool> ended_{false};          // by the server queue
    std::atomic<std::uint64_t> underruns_{0}; // by the IO queue
    bool hasPlayed_ = false;                  // of the server queue
    std::array<float, LMNTapConfig::maximumFrameCount * ServedDevice::channelCount>
        block_{}; // of the IO queue
    std::size_t blockSamples_ = 0;
};

} // namespace lmn
