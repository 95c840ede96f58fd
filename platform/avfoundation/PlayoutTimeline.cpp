// SPDX-License-Identifier: MIT
#include "platform/avfoundation/PlayoutTimeline.h"

#include <algorithm>
#include <utility>

namespace avfoundation {

using airplay::channelCount;
using airplay::FrameGrid;
using airplay::FrameIndex;
using airplay::Rendered;
using airplay::Ticks;
using airplay::ticksPerFrame;

Ticks ticksOf(const coremedia::CMTime& time) noexcept {
    return airplay::floorQuotient(Ticks{time.value} * airplay::ticksPerSecond, time.timescale);
}

/// Where the sound of one call goes, or nowhere. Silence is only written once there is sound beside it.
class PlayoutTimeline::Output {
  public:
    Output() = default;
    Output(std::span<float> out, FrameIndex first) : out_(out), first_(first) {}

    void beginSound(FrameIndex at) {
        if (!sounds_ && !out_.empty()) {
            sounds_ = true;
            clear({first_, at});
        }
    }

    void clear(Stretch stretch) {
        if (sounds_ && !stretch.isEmpty()) {
            std::ranges::fill(part(stretch), 0.0F);
        }
    }

    void paint(const Piece& piece, Stretch stretch) {
        if (!sounds_) {
            return;
        }
        const std::span<float> target = part(stretch);
        constexpr std::size_t bytesPerFrame = sizeof(float) * channelCount;
        // Checked when it was enqueued: the bytes are there.
        coremedia::CMBlockBufferCopyDataBytes(
            *coremedia::CMSampleBufferGetDataBuffer(*piece.buffer),
            static_cast<std::size_t>(stretch.from - piece.begin) * bytesPerFrame, target.size_bytes(),
            target.data());
    }

    Rendered result() const { return sounds_ ? Rendered::sound : Rendered::silence; }

  private:
    std::span<float> part(Stretch stretch) const {
        return out_.subspan(static_cast<std::size_t>(stretch.from - first_) * channelCount,
                            static_cast<std::size_t>(stretch.to - stretch.from) * channelCount);
    }

    std::span<float> out_;
    FrameIndex first_ = 0;
    bool sounds_ = false;
};

void PlayoutTimeline::give(PlayoutCommand command) { commands_.push_back(std::move(command)); }

Rendered PlayoutTimeline::render(const FrameGrid& grid, FrameIndex first, std::span<float> out) {
    moveTo(grid);
    Output unheard;
    advance(first, unheard);
    Output output(out, first);
    advance(first + static_cast<FrameIndex>(out.size()) / channelCount, output);
    return output.result();
}

void PlayoutTimeline::pass(dispatch::HostTime until) {
    Output unheard;
    advance(grid_.firstNotBefore(until), unheard);
}

std::size_t PlayoutTimeline::takeReleased() noexcept { return std::exchange(released_, 0); }

/// The first frame of the new grid behind the last one of the old.
void PlayoutTimeline::moveTo(const FrameGrid& grid) {
    if (grid == grid_) {
        return;
    }
    now_ = grid.firstNotBefore(grid_.ticksOfFrame(now_ - 1) + 1);
    grid_ = grid;
    placePieces();
}

void PlayoutTimeline::advance(FrameIndex to, Output& output) {
    applyDue();
    while (now_ < to) {
        const FrameIndex next = commands_.empty() ? to : grid_.firstNotBefore(commands_.front().at);
        play(std::min(next, to), output);
        applyDue();
    }
}

void PlayoutTimeline::applyDue() {
    while (!commands_.empty() && grid_.firstNotBefore(commands_.front().at) <= now_) {
        apply(commands_.front());
        commands_.pop_front();
    }
}

void PlayoutTimeline::apply(PlayoutCommand& command) {
    switch (command.kind) {
        case PlayoutCommand::Kind::setClock:
            clock_ = command.clock;
            placePieces();
            break;
        case PlayoutCommand::Kind::enqueue:
            enqueue(std::move(command.buffer));
            break;
        case PlayoutCommand::Kind::flush:
            flush();
            break;
    }
}

void PlayoutTimeline::enqueue(std::shared_ptr<const coremedia::CMSampleBuffer> buffer) {
    Piece piece;
    piece.media = ticksOf(coremedia::CMSampleBufferGetPresentationTimeStamp(*buffer));
    piece.begin = placeOf(piece.media);
    piece.frames = coremedia::CMSampleBufferGetNumSamples(*buffer);
    piece.firstFrame = passedFrames(piece);
    piece.buffer = std::move(buffer);
    ++counters_.buffers;
    counters_.late += piece.firstFrame > 0 ? 1 : 0;
    counters_.lateFrames += static_cast<std::uint64_t>(piece.firstFrame);
    if (piece.firstFrame == piece.frames) {
        ++released_;
        return;
    }
    countOverlap(piece);
    pieces_.push_back(std::move(piece));
}

std::int64_t PlayoutTimeline::passedFrames(const Piece& piece) const noexcept {
    if (clock_.running) {
        return std::clamp<std::int64_t>(now_ - piece.begin, 0, piece.frames);
    }
    // Held: those that are not the nearest to any instant from the held one on.
    const Ticks passed =
        airplay::floorQuotient(clock_.media - piece.media + ticksPerFrame / 2 - 1, ticksPerFrame);
    return static_cast<std::int64_t>(std::clamp<Ticks>(passed, 0, piece.frames));
}

void PlayoutTimeline::countOverlap(const Piece& piece) {
    stretches_.clear();
    for (const Piece& older : pieces_) {
        const Stretch shared = common(older, piece.from(), piece.to());
        if (!shared.isEmpty()) {
            stretches_.push_back(shared);
        }
    }
    if (stretches_.empty()) {
        return;
    }
    ++counters_.overlaps;
    std::ranges::sort(stretches_, {}, &Stretch::from);
    FrameIndex counted = piece.from();
    for (const Stretch& shared : stretches_) { // older ones may overlap each other
        counters_.overlapFrames +=
            static_cast<std::uint64_t>(std::max<FrameIndex>(0, shared.to - std::max(shared.from, counted)));
        counted = std::max(counted, shared.to);
    }
}

void PlayoutTimeline::flush() {
    released_ += pieces_.size();
    pieces_.clear();
    hole_ = 0;
    heardSinceFlush_ = false;
}

FrameIndex PlayoutTimeline::placeOf(Ticks media) const noexcept {
    return grid_.nearest(media - clock_.media + airplay::ticksOf(clock_.host));
}

void PlayoutTimeline::placePieces() noexcept {
    for (Piece& piece : pieces_) {
        piece.begin = placeOf(piece.media);
    }
}

PlayoutTimeline::Stretch PlayoutTimeline::common(const Piece& piece, FrameIndex from,
                                                 FrameIndex to) noexcept {
    return {std::max(piece.from(), from), std::min(piece.to(), to)};
}

void PlayoutTimeline::play(FrameIndex to, Output& output) {
    if (!clock_.running) {
        output.clear({now_, to});
        now_ = to;
        return;
    }
    stretches_.clear();
    for (const Piece& piece : pieces_) {
        const Stretch heard = common(piece, now_, to);
        if (!heard.isEmpty()) {
            stretches_.push_back(heard);
        }
    }
    if (!stretches_.empty()) {
        output.beginSound(now_);
    }
    playHoles(to, output);
    for (const Piece& piece : pieces_) { // the later enqueued paint over the earlier
        const Stretch heard = common(piece, now_, to);
        if (!heard.isEmpty()) {
            output.paint(piece, heard);
        }
    }
    now_ = to;
    releasePassed();
}

/// Silence between the stretches; a hole counts once a buffer is heard behind it.
void PlayoutTimeline::playHoles(FrameIndex to, Output& output) {
    std::ranges::sort(stretches_, {}, &Stretch::from);
    FrameIndex reached = now_;
    for (const Stretch& heard : stretches_) {
        hole_ += std::max<FrameIndex>(0, heard.from - reached);
        output.clear({reached, heard.from});
        if (heardSinceFlush_ && hole_ > 0) {
            ++counters_.gaps;
            counters_.gapFrames += static_cast<std::uint64_t>(hole_);
        }
        hole_ = 0;
        heardSinceFlush_ = true;
        reached = std::max(reached, heard.to);
    }
    hole_ += to - reached;
    output.clear({reached, to});
}

void PlayoutTimeline::releasePassed() {
    released_ += std::erase_if(pieces_, [this](const Piece& piece) { return piece.to() <= now_; });
}

} // namespace avfoundation
