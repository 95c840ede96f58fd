// SPDX-License-Identifier: MIT
#pragma once

#include "platform/coremedia/CMTime.h"

#include <cstdint>
#include <optional>

namespace orb {

/// When each chunk is to be heard. Chunks follow one another on a running presentation time, which is tied to
/// the synchroniser's clock by an anchor after every reset, and corrected while chunks are fed: once,
/// coarsely, at the start of a resynchronisation, and by tiny steps all the time where synchronisation has
/// priority.
///
///     clock   |anchor                       |anchor + latency
///     chunks                                [0      )[1      )[2      )  lastSampleTime: where the next
///     begins
///
/// A value without threads or clock; the mirror device guards it with its lock.
class RenderTimeline {
  public:
    /// `chunkSize` frames at `sampleRate` Hz; `syncLatency` s between a chunk's time and the clock.
    RenderTimeline(std::uint32_t chunkSize, double sampleRate, double syncLatency);

    /// Seconds of a chunk.
    double chunkDuration() const { return chunkDuration_; }

    // Anchoring.

    /// Everything timed so far is void. `now` is the synchroniser's time.
    void reset(const coremedia::CMTime& now);

    /// The next chunk is timed from the anchor.
    void requestTimebaseReset() { pendingTimebaseReset_ = true; }
    void anchorAt(const coremedia::CMTime& now);

    /// A resynchronisation begins: it may get one coarse correction.
    void beginStartup() { isStartingSync_ = true; }
    void endStartup() { isStartingSync_ = false; }

    /// The presentation time of the next chunk, of `frames` frames.
    struct ChunkTime {
        coremedia::CMTime presentationTime;
        double duration = 0; // seconds

        /// Set for the first chunk after a reset.
        struct Start {
            coremedia::CMTime anchor;
            double latency = 0; // seconds
        };
        std::optional<Start> start;
    };
    ChunkTime timeChunk(std::uint32_t frames);

    // Feeding.

    /// Seconds of sound timed ahead of the clock.
    double buffered(const coremedia::CMTime& now) const;

    /// How a chunk that is fed lies against the clock.
    struct Position {
        double ahead = 0; // seconds from now to its presentation time
        double effectiveLatency =
            0;            // seconds from its first frame's capture to its presentation, as it is fed
        double delta = 0; // seconds by which that exceeds the wanted latency
    };
    Position positionOf(const coremedia::CMTime& presentationTime, const coremedia::CMTime& now) const;

    enum class Correction { none, startup, fine };
    struct Step {
        Correction kind = Correction::none;
        double seconds = 0;
        bool earlier = false;
    };

    /// Corrects the time line for a chunk at `position`; chunks that were timed before keep their times.
    Step correct(const Position& position, bool prioritizeSync);

    /// |delta| from which a resynchronisation is corrected at once, and from which fine steps are taken, s.
    double coarseThreshold() const;
    double fineThreshold() const;

    double syncLatency() const { return syncLatency_; }

  private:
    coremedia::CMTime mediaTime(double seconds) const;
    Step moveBy(Correction kind, double seconds, bool earlier);

    const double sampleRate_;
    const double chunkDuration_;
    const double syncLatency_;
    const std::int32_t timescale_;
    coremedia::CMTime lastSampleTime_ = coremedia::kCMTimeZero;
    coremedia::CMTime resetAnchorTime_ = coremedia::kCMTimeZero;
    bool pendingTimebaseReset_ = false;
    bool isStartingSync_ = false;
    bool didApplyStartupSyncCorrection_ = false;
};

} // namespace orb
