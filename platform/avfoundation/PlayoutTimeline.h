// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/FrameSource.h"
#include "platform/coremedia/CMSampleBuffer.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <vector>

namespace avfoundation {

/// How media time runs from one change of the rate to the next: from `media` at `host` on, with the host's
/// speed or not at all. A pure value.
struct MediaClock {
    dispatch::HostTime host{};
    airplay::Ticks media = 0;
    bool running = false;

    /// Media time at an instant; before `host`, that at `host`.
    constexpr airplay::Ticks mediaAt(dispatch::HostTime instant) const noexcept {
        return running && instant > host ? media + airplay::ticksOf(instant) - airplay::ticksOf(host) : media;
    }
};

/// Ticks of a media time that is a number, towards the past where it is not a whole number of them.
airplay::Ticks ticksOf(const coremedia::CMTime& time) noexcept;

/// What a renderer was told, and when. `at` is when it takes effect.
struct PlayoutCommand {
    enum class Kind { setClock, enqueue, flush };

    Kind kind = Kind::flush;
    dispatch::HostTime at{};
    MediaClock clock{};                                      ///< setClock only
    std::shared_ptr<const coremedia::CMSampleBuffer> buffer; ///< enqueue only
};

/// What became of the sound; numbers only grow.
struct PlayoutCounters {
    std::uint64_t buffers = 0; ///< enqueued
    std::uint64_t gaps = 0;    ///< holes heard between two buffers with no flush between
    std::uint64_t gapFrames = 0;
    std::uint64_t overlaps = 0;      ///< buffers that took the place of frames of older ones
    std::uint64_t overlapFrames = 0; ///< frames they took the place of
    std::uint64_t late = 0;          ///< buffers of which frames had passed when they were enqueued
    std::uint64_t lateFrames = 0;

    bool operator==(const PlayoutCounters&) const = default;
};

/// Turns what a renderer was told into sound: a pure class, without threads and clock. Owned by one renderer,
/// used on the playout queue.
///
///     host time  ----|S1: running------------|S2: held-----|S3: running-------->
///     media time     m0 ....... m0+(S2-S1)   m stays       goes on from m
///     sound      0 0 0 [buffer][buffer][buff 0 0 0 0 0 0 0 0 er][buffer]
///
/// A frame of a buffer is heard at the frame of the grid nearest to its media time. The mapping is kept in
/// ticks, without rounding, over any length of time, so buffers whose times differ by their length adjoin
/// wherever between two frames they lie. Where buffers overlap the one enqueued last is heard.
///
/// A command takes effect at the first frame not before its time, but behind the commands given before it and
/// never in what was rendered already. How late, and in which pieces, the sound is rendered makes no
/// difference.
class PlayoutTimeline {
  public:
    /// Takes a command; those of one renderer in the order in which they were given. The buffer of an enqueue
    /// is packed stereo float at 44100 Hz.
    void give(PlayoutCommand command);

    /// The sound of the frames from `first` on, interleaved stereo. Time before that, since the last call,
    /// passes unheard; frames that were rendered already are silent. `out` is not touched when all is
    /// silence.
    airplay::Rendered render(const airplay::FrameGrid& grid, airplay::FrameIndex first, std::span<float> out);

    /// Lets the time up to `until` pass unheard.
    void pass(dispatch::HostTime until);

    /// Whether media time runs, or commands wait for their time.
    bool isActive() const noexcept { return clock_.running || !commands_.empty(); }

    const PlayoutCounters& counters() const noexcept { return counters_; }

    /// Buffers it lets go of since the last call: played, passed, dropped or flushed.
    std::size_t takeReleased() noexcept;

  private:
    struct Piece {
        std::shared_ptr<const coremedia::CMSampleBuffer> buffer;
        airplay::Ticks media = 0;      ///< of the buffer's first frame
        airplay::FrameIndex begin = 0; ///< where the buffer's first frame is heard under the present mapping
        std::int64_t firstFrame = 0;   ///< frames of the buffer before this one are dropped
        std::int64_t frames = 0;       ///< of the whole buffer

        airplay::FrameIndex from() const noexcept { return begin + firstFrame; }
        airplay::FrameIndex to() const noexcept { return begin + frames; }
    };

    struct Stretch {
        airplay::FrameIndex from;
        airplay::FrameIndex to;

        bool isEmpty() const noexcept { return from >= to; }
    };

    static Stretch common(const Piece& piece, airplay::FrameIndex from, airplay::FrameIndex to) noexcept;

    class Output;

    void moveTo(const airplay::FrameGrid& grid);
    void advance(airplay::FrameIndex to, Output& output);
    void applyDue();
    void apply(PlayoutCommand& command);
    void enqueue(std::shared_ptr<const coremedia::CMSampleBuffer> buffer);
    std::int64_t passedFrames(const Piece& piece) const noexcept;
    void countOverlap(const Piece& piece);
    void flush();
    airplay::FrameIndex placeOf(airplay::Ticks media) const noexcept;
    void placePieces() noexcept;
    void play(airplay::FrameIndex to, Output& output);
    void playHoles(airplay::FrameIndex to, Output& output);
    void releasePassed();

    std::deque<PlayoutCommand> commands_; // not yet in effect
    std::vector<Piece> pieces_;           // in the order of their enqueueing
    std::vector<Stretch> stretches_;      // room for one step
    MediaClock clock_;
    airplay::FrameGrid grid_{dispatch::HostTime{}};
    airplay::FrameIndex now_ = 0; // the first frame not yet rendered
    std::int64_t hole_ = 0;       // frames without a buffer since the last one with
    bool heardSinceFlush_ = false;
    std::size_t released_ = 0;
    PlayoutCounters counters_;
};

} // namespace avfoundation
