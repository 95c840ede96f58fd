// SPDX-License-Identifier: MIT
#include "platform/avfoundation/PlayoutTimeline.h"
#include "tests/platform/avfoundation/Buffers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <numeric>
#include <random>

namespace avfoundation {
namespace {

using airplay::FrameGrid;
using airplay::FrameIndex;
using airplay::Ticks;
using airplay::ticksPerFrame;
using coremedia::CMTimeAdd;
using coremedia::CMTimeMake;

/// What a timeline should do, said frame by frame and without any thought of speed.
class Model {
  public:
    Model(const FrameGrid& grid, const std::vector<PlayoutCommand>& commands)
        : grid_(grid), commands_(commands) {}

    std::vector<float> play(FrameIndex frames) {
        std::vector<float> sound;
        auto next = commands_.begin();
        for (now_ = 0; now_ < frames; ++now_) {
            for (; next != commands_.end() && airplay::ticksOf(next->at) <= grid_.ticksOfFrame(now_);
                 ++next) {
                apply(*next);
            }
            sound.push_back(clock_.running ? playFrame() : 0.0F);
        }
        return sound;
    }

    PlayoutCounters counters;

  private:
    struct Buffer {
        Ticks media;
        std::int64_t dropped; // frames from the front that are not played
        std::vector<float> left;
    };

    /// When a frame is due on the host clock.
    Ticks due(const Buffer& buffer, std::int64_t frame) const {
        return buffer.media + Ticks{frame} * ticksPerFrame - clock_.media + airplay::ticksOf(clock_.host);
    }

    /// The frame of a buffer to which `frame` of the grid is the nearest, or -1.
    std::int64_t frameAt(const Buffer& buffer, FrameIndex frame) const {
        const auto guess =
            static_cast<std::int64_t>((grid_.ticksOfFrame(frame) - due(buffer, 0)) / ticksPerFrame);
        for (std::int64_t index = guess - 2; index <= guess + 2; ++index) {
            const Ticks distance = due(buffer, index) - grid_.ticksOfFrame(frame);
            if (index >= buffer.dropped && index < static_cast<std::int64_t>(buffer.left.size()) &&
                distance >= -ticksPerFrame / 2 && distance < ticksPerFrame / 2) {
                return index;
            }
        }
        return -1;
    }

    float playFrame() {
        bool covered = false;
        float sample = 0;
        for (const Buffer& buffer : buffers_) { // the newest is the last
            const std::int64_t frame = frameAt(buffer, now_);
            covered = covered || frame >= 0;
            sample = frame >= 0 ? buffer.left[static_cast<std::size_t>(frame)] : sample;
        }
        std::erase_if(buffers_, [this](const Buffer& buffer) {
            const Ticks end = due(buffer, static_cast<std::int64_t>(buffer.left.size())) + ticksPerFrame / 2;
            return end < grid_.ticksOfFrame(now_ + 2);
        });
        if (!covered) {
            ++hole_;
            return 0;
        }
        if (heard_ && hole_ > 0) {
            ++counters.gaps;
            counters.gapFrames += static_cast<std::uint64_t>(hole_);
        }
        hole_ = 0;
        heard_ = true;
        return sample;
    }

    void apply(const PlayoutCommand& command) {
        if (command.kind == PlayoutCommand::Kind::setClock) {
            clock_ = command.clock;
        } else if (command.kind == PlayoutCommand::Kind::flush) {
            buffers_.clear();
            hole_ = 0;
            heard_ = false;
        } else {
            enqueue(*command.buffer);
        }
    }

    bool hasPassed(const Buffer& buffer, std::int64_t frame) const {
        if (clock_.running) {
            return due(buffer, frame) + ticksPerFrame / 2 < grid_.ticksOfFrame(now_);
        }
        return buffer.media + Ticks{frame} * ticksPerFrame + ticksPerFrame / 2 < clock_.media;
    }

    void enqueue(const coremedia::CMSampleBuffer& source) {
        Buffer buffer{ticksOf(coremedia::CMSampleBufferGetPresentationTimeStamp(source)), 0, {}};
        for (std::int64_t frame = 0; frame < coremedia::CMSampleBufferGetNumSamples(source); ++frame) {
            float samples[2];
            coremedia::CMBlockBufferCopyDataBytes(*coremedia::CMSampleBufferGetDataBuffer(source),
                                                  static_cast<std::size_t>(frame) * sizeof samples,
                                                  sizeof samples, samples);
            buffer.left.push_back(samples[0]);
            buffer.dropped += hasPassed(buffer, frame) ? 1 : 0;
        }
        ++counters.buffers;
        counters.late += buffer.dropped > 0 ? 1 : 0;
        counters.lateFrames += static_cast<std::uint64_t>(buffer.dropped);
        std::uint64_t replaced = 0;
        for (auto frame = buffer.dropped; frame < static_cast<std::int64_t>(buffer.left.size()); ++frame) {
            const FrameIndex place = grid_.nearest(due(buffer, frame));
            replaced += std::ranges::any_of(buffers_,
                                            [&](const Buffer& older) { return frameAt(older, place) >= 0; });
        }
        counters.overlaps += replaced > 0 ? 1 : 0;
        counters.overlapFrames += replaced;
        buffers_.push_back(std::move(buffer));
    }

    const FrameGrid grid_;
    const std::vector<PlayoutCommand>& commands_;
    std::list<Buffer> buffers_;
    MediaClock clock_;
    FrameIndex now_ = 0;
    FrameIndex hole_ = 0;
    bool heard_ = false;
};

/// Gives a timeline its commands as a synchroniser and a renderer do.
struct Teller {
    void setRunning(bool running, dispatch::HostTime at) {
        clock = {at, clock.mediaAt(at), running};
        commands.push_back({.kind = PlayoutCommand::Kind::setClock, .at = at, .clock = clock, .buffer = {}});
    }
    void enqueue(std::shared_ptr<const coremedia::CMSampleBuffer> buffer, dispatch::HostTime at) {
        commands.push_back(
            {.kind = PlayoutCommand::Kind::enqueue, .at = at, .clock = {}, .buffer = std::move(buffer)});
    }
    void flush(dispatch::HostTime at) {
        commands.push_back({.kind = PlayoutCommand::Kind::flush, .at = at, .clock = {}, .buffer = {}});
    }

    MediaClock clock;
    std::vector<PlayoutCommand> commands;
};

/// The left channel of the frames [0, count), rendered in pieces of `step`; each command is given before the
/// first piece that ends behind its time, or, with `late`, all before the first piece.
std::vector<float> renderLeft(PlayoutTimeline& timeline, const std::vector<PlayoutCommand>& commands,
                              const FrameGrid& grid, FrameIndex count, FrameIndex step, bool late) {
    std::vector<float> left;
    auto next = commands.begin();
    for (FrameIndex frame = 0; frame < count; frame += step) {
        const auto frames = static_cast<std::size_t>(std::min(step, count - frame));
        const dispatch::HostTime end = grid.timeOf(frame + static_cast<FrameIndex>(frames));
        for (; next != commands.end() && (late || next->at < end); ++next) {
            timeline.give(*next);
        }
        std::vector<float> out(2 * frames, 12345.0F);
        const bool sounds = timeline.render(grid, frame, out) == airplay::Rendered::sound;
        for (std::size_t index = 0; index < frames; ++index) {
            left.push_back(sounds ? out[2 * index] : 0.0F);
        }
    }
    return left;
}

/// A random life of a renderer: mostly orderly, with every kind of disorder.
std::vector<PlayoutCommand> randomCommands(std::mt19937& random, dispatch::HostTime start) {
    const auto upTo = [&](int limit) {
        return static_cast<std::int64_t>(random() % static_cast<unsigned>(limit));
    };
    Teller teller;
    dispatch::HostTime now = start;
    coremedia::CMTime time = coremedia::kCMTimeZero;
    std::int64_t number = 1;
    for (int step = 0; step < 40; ++step) {
        now += dispatch::Nanoseconds{upTo(3) == 0 ? 0 : upTo(2'000'000)};
        const std::int64_t kind = upTo(12);
        if (kind == 0) {
            teller.flush(now);
        } else if (kind <= 3) {
            teller.setRunning(upTo(4) != 0, now);
        } else {
            const auto ahead =
                teller.clock.mediaAt(now) / airplay::ticksPerNanosecond + upTo(2'000'000) - 500'000;
            if (upTo(4) == 0) {
                time = CMTimeMake(static_cast<std::int64_t>(ahead), 1'000'000'000);
            } else if (upTo(4) == 0) {
                time = CMTimeAdd(time, CMTimeMake(upTo(80) - 40, upTo(2) == 0 ? 44100 : 48000));
            }
            const std::int64_t frames = 1 + upTo(100);
            teller.enqueue(makeBuffer(time, frames, number), now);
            time = CMTimeAdd(time, CMTimeMake(frames, 44100));
            number += frames;
        }
    }
    return teller.commands;
}

TEST(PlayoutTimelineModelTest, doesWhatTheFrameByFrameModelDoes) {
    constexpr FrameIndex frames = 2200;
    PlayoutCounters seen;
    for (unsigned seed = 0; seed < 400; ++seed) {
        std::mt19937 random(seed);
        const dispatch::HostTime start{std::chrono::hours{1} + dispatch::Nanoseconds{random() % 100'000}};
        const FrameGrid grid(start);
        const auto commands = randomCommands(random, start + dispatch::Nanoseconds{random() % 50'000});
        Model model(grid, commands);
        const auto expected = model.play(frames);
        for (const bool late : {false, true}) {
            PlayoutTimeline timeline;
            const auto step = static_cast<FrameIndex>(1 + random() % 300);
            ASSERT_EQ(renderLeft(timeline, commands, grid, frames, step, late), expected) << "seed " << seed;
            ASSERT_EQ(timeline.counters(), model.counters) << "seed " << seed;
        }
        seen.gaps += model.counters.gaps;
        seen.overlaps += model.counters.overlaps;
        seen.late += model.counters.late;
    }
    EXPECT_GT(std::min({seen.gaps, seen.overlaps, seen.late}), 100U)
        << "the sequences miss what they are for";
}

TEST(PlayoutTimelineModelTest, aNewTimeLineOfTheRouteMovesTheSoundWithIt) {
    const dispatch::HostTime epoch{std::chrono::hours{1}};
    const FrameGrid grid(epoch);
    PlayoutTimeline timeline;
    Teller teller;
    teller.setRunning(true, epoch);
    teller.enqueue(makeBuffer(CMTimeMake(20, 44100), 60, 1), epoch);
    EXPECT_EQ(renderLeft(timeline, teller.commands, grid, 40, 40, false).back(), 20);
    // Its frame 10 is frame 40 of the first: it begins in the nanosecond that is not behind frame 30.
    const FrameGrid other(epoch + dispatch::Nanoseconds{30 * 10'000'000 / 441});
    const auto moved = renderLeft(timeline, {}, other, 30, 30, false);
    std::vector<float> expected(30, 0.0F);
    std::iota(expected.begin() + 10, expected.end(), 21.0F);
    EXPECT_EQ(moved, expected);
}

} // namespace
} // namespace avfoundation
