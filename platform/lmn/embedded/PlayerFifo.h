// SPDX-License-Identifier: MIT
#pragma once

#include "platform/lmn/AudioServer.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace lmn {

/// What one player has sent and the device has not yet taken: stereo frames in a ring between one writer and
/// one reader, without a lock.
class PlayerFifo {
  public:
    /// Two seconds. As much as this the device's clock may come late, or the player fall silent, before a
    /// frame is missing.
    static constexpr std::size_t capacity = 2 * 44100; // frames

    PlayerFifo() : samples_(capacity * ServedDevice::channelCount) {}

    /// Frames that can be read. Any thread.
    std::size_t available() const {
        return static_cast<std::size_t>(written_.load(std::memory_order_acquire) -
                                        read_.load(std::memory_order_acquire));
    }

    /// Frames that can be written. Any thread.
    std::size_t space() const { return capacity - available(); }

    /// Takes as many whole frames as there is space for; returns their number. Writer only.
    std::size_t write(std::span<const float> interleaved) {
        const std::size_t frames = std::min(interleaved.size() / ServedDevice::channelCount, space());
        const std::uint64_t at = written_.load(std::memory_order_relaxed);
        forEachPart(at, frames, [&](std::size_t sample, std::size_t offset, std::size_t count) {
            std::copy_n(interleaved.data() + offset, count, samples_.data() + sample);
        });
        written_.store(at + frames, std::memory_order_release);
        return frames;
    }

    /// Moves at most `interleaved.size() / 2` frames out; returns their number. Reader only.
    std::size_t read(std::span<float> interleaved) {
        const std::size_t frames = std::min(interleaved.size() / ServedDevice::channelCount, available());
        const std::uint64_t at = read_.load(std::memory_order_relaxed);
        forEachPart(at, frames, [&](std::size_t sample, std::size_t offset, std::size_t count) {
            std::copy_n(samples_.data() + sample, count, interleaved.data() + offset);
        });
        read_.store(at + frames, std::memory_order_release);
        return frames;
    }

    /// Empties the ring. Only while neither side uses it.
    void reset() {
        written_.store(0);
        read_.store(0);
    }

  private:
    /// The one or two stretches of the ring, in samples, that `frames` frames from frame `at` on occupy.
    template <typename Part>
    static void forEachPart(std::uint64_t at, std::size_t frames, Part part) {
        const auto first = static_cast<std::size_t>(at % capacity);
        const std::size_t untilEnd = std::min(frames, capacity - first);
        constexpr std::size_t channels = ServedDevice::channelCount;
        part(first * channels, 0, untilEnd * channels);
        part(0, untilEnd * channels, (frames - untilEnd) * channels);
    }

    std::vector<float> samples_;
    std::atomic<std::uint64_t> written_{0}; // frames; by the writer
    std::atomic<std::uint64_t> read_{0};    // frames; by the reader
};

} // namespace lmn
