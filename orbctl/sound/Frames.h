// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace orbctl {

/// Channels of every sound; samples are interleaved left, right.
inline constexpr std::size_t channelCount = 2;

/// Frames per second of every sound.
inline constexpr std::int64_t framesPerSecond = 44100;

/// A position in a stream, or a count or difference of positions, in frames.
using FrameNumber = std::int64_t;

/// A stream of stereo frames that is read once, from front to back, by one thread.
class FrameReader {
  public:
    FrameReader() = default;
    FrameReader(const FrameReader&) = delete;
    FrameReader& operator=(const FrameReader&) = delete;
    virtual ~FrameReader() = default;

    /// Fills `interleaved` (a whole number of frames) from its front and returns the frames written. The
    /// count may be short anywhere; 0 for a non-empty span means that the stream has ended.
    virtual std::size_t read(std::span<float> interleaved) = 0;
};

/// True when both samples of the frame are zero of either sign.
inline bool isSilent(const float* frame) { return frame[0] == 0.0F && frame[1] == 0.0F; }

/// True when both samples of the frames are equal numbers; a NaN equals nothing.
inline bool framesEqual(const float* first, const float* second) {
    return first[0] == second[0] && first[1] == second[1];
}

/// Frames in a whole number of interleaved frames.
inline std::size_t frameCount(std::span<const float> interleaved) {
    return interleaved.size() / channelCount;
}

/// How many of the first `frames` frames are equal before the first that differs. The second stream must hold
/// no NaN, so that equal bytes mean equal numbers.
std::size_t equalFrames(const float* first, const float* second, std::size_t frames);

/// How many of the frames are not silent.
std::size_t nonSilentFrames(std::span<const float> interleaved);

/// How many silent frames stand at the front.
std::size_t leadingSilentFrames(std::span<const float> interleaved);

/// Reads until `interleaved` is full or the stream ends; returns the frames read.
std::size_t readFully(FrameReader& reader, std::span<float> interleaved);

} // namespace orbctl
