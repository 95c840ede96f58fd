// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Ownership.h"
#include "platform/lmn/LMNBuffer.h"

#include <cstdint>
#include <span>
#include <vector>

namespace orb {

/// The hand-over point between capture and render: a ring of interleaved float frames addressed by absolute
/// sample time. Writers add their frames at their sample time; the one reader takes frames out in order and
/// clears behind itself. The distance between the two is the queue's latency.
///
///     0                 queueSize            2 x queueSize
///     |----- ring -------|-- run-over ---------|
///            ^read  ^write ... a buffer that begins near the end runs on, unsplit, behind the ring
///
/// Frame t lives at t mod queueSize. What a write left in the run-over is added at once to the ring's begin,
/// where it belongs, and a read that runs on has the ring's begin moved behind its end first; so between two
/// operations the run-over is zero, and no frame is missed or heard twice. Sizes that divide queueSize, at
/// times that are their multiples, never run on and never pay for that.
///
/// Owned by the mirror device; writers on the IO queue, the reader on the render queue. Every operation takes
/// the queue's lock for its body, and none but creation and `configure` allocates.
class HTMixQueue {
  public:
    /// `rate` in Hz, `size` in frames; both fixed.
    HTMixQueue(std::uint32_t channels, double rate, std::uint32_t size);

    /// Sets the channel count, with empty storage to match; nothing when it is the present one.
    void configure(std::uint32_t channels);

    /// Adds a captured buffer at a sample time. Ignored when the rate or the channel count differ, when it
    /// has more frames than the ring, or the time is negative. A buffer that is strictly silent does not arm
    /// the queue, unless it is the one at time 0.
    void write(const lmn::LMNBuffer& buffer, std::int64_t sampleTime);

    /// Adds the next `buffer.frameCount()` frames into the buffer, and clears them here. Nothing until the
    /// queue is armed, and for the buffers that `write` ignores. Never waits: frames not yet written are
    /// silence.
    void read(lmn::LMNBuffer& buffer);

    /// Corrects a writer's proposed sample time: up to the read cursor when it has fallen behind, back to it
    /// when it is more than `frames` ahead.
    void nextWriteSampleTime(std::uint32_t frames, std::int64_t& sampleTime) const;

    /// Empties the queue and rewinds both cursors.
    void reset();

    /// Frames by which the last write runs ahead of the read cursor, at most the ring's size; may be
    /// negative.
    std::int64_t readLatency() const;
    double readLatencySeconds() const;

    /// The read cursor: sample time of the next frame to be read, -1 before reading has begun.
    std::int64_t getLastReadSampleTime() const;

    std::uint32_t channels() const;
    /// Only stores the number; `configure` is what resizes. Buffers for which the storage is then too small
    /// are ignored.
    void setChannels(std::uint32_t channels);
    double rate() const;
    void setRate(double rate);
    /// Floats in the storage.
    std::int64_t allocatedSize() const;
    void setAllocatedSize(std::int64_t size);
    /// Whether a write has armed the queue for reading.
    bool hasAudio() const;
    void setHasAudio(bool hasAudio);
    bool logging() const;
    void setLogging(bool logging);

  private:
    std::size_t position(std::int64_t sampleTime) const ORB_REQUIRES(lock_);
    bool matches(const lmn::LMNBuffer& buffer) const ORB_REQUIRES(lock_);
    /// What of the run-over a buffer takes that begins at float `at`.
    std::span<float> runOverOf(const lmn::LMNBuffer& buffer, std::size_t at) ORB_REQUIRES(lock_);
    void empty() ORB_REQUIRES(lock_);

    const std::uint32_t queueSize_;
    mutable dispatch::RecursiveLock lock_;
    std::int64_t allocatedSize_ ORB_GUARDED_BY(lock_) = 0;
    std::uint32_t channels_ ORB_GUARDED_BY(lock_) = 0;
    double rate_ ORB_GUARDED_BY(lock_);
    std::vector<float> samples_ ORB_GUARDED_BY(lock_);
    bool hasAudio_ ORB_GUARDED_BY(lock_) = false;
    bool logging_ ORB_GUARDED_BY(lock_) = false;
    std::int64_t lastWriteSampleTime_ ORB_GUARDED_BY(lock_) = 0;
    std::int64_t lastReadSampleTime_ ORB_GUARDED_BY(lock_) = 0;
};

} // namespace orb
