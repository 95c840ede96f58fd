// SPDX-License-Identifier: MIT
#include "platform/avfoundation/PlayoutTimeline.h"

#include "tests/platform/avfoundation/Buffers.h"

#include <gtest/gtest.h>

#include <functional>
#include <numeric>

namespace avfoundation {
namespace {

using namespace std::chrono_literals;
using airplay::FrameGrid;
using coremedia::CMTimeAdd;
using coremedia::CMTimeMake;

const dispatch::HostTime epoch{1000s};
const FrameGrid grid(epoch);

/// The last nanosecond that is not behind a frame of the grid, and a frame as media time.
dispatch::HostTime at(airplay::FrameIndex frame) {
    return epoch + dispatch::Nanoseconds{frame * 10'000'000 / 441};
}
coremedia::CMTime media(std::int64_t frame) { return CMTimeMake(frame, 44100); }

/// Expected sound, put together from runs of numbers and zeros.
class Sound {
  public:
    Sound& zeros(std::size_t count) {
        samples_.resize(samples_.size() + count, 0.0F);
        return *this;
    }
    Sound& numbers(int from, int to) {
        for (int number = from; number < to; ++number) {
            samples_.push_back(static_cast<float>(number));
        }
        return *this;
    }
    const std::vector<float>& samples() const { return samples_; }

  private:
    std::vector<float> samples_;
};

struct Case {
    const char* name;
    std::function<void(Teller&)> tell;
    Sound sound;
    PlayoutCounters counters;
};

/// All counters in the order of their declaration.
std::vector<std::uint64_t> list(const PlayoutCounters& c) {
    return {c.buffers, c.gaps, c.gapFrames, c.overlaps, c.overlapFrames, c.late, c.lateFrames};
}

void PrintTo(const Case& value, std::ostream* stream) { *stream << value.name; }

std::vector<Case> cases() {
    return {
        {"adjoining",
         [](Teller& teller) {
             teller.setRunning(true, at(0));
             teller.enqueue(makeBuffer(media(20), 30, 1), at(10));
             teller.enqueue(makeBuffer(media(50), 30, 31), at(11));
         },
         Sound().zeros(20).numbers(1, 61),
         {.buffers = 2}},
        {"gap",
         [](Teller& teller) {
             teller.setRunning(true, at(0));
             teller.enqueue(makeBuffer(media(20), 30, 1), at(10));
             teller.enqueue(makeBuffer(media(53), 30, 31), at(11));
         },
         Sound().zeros(20).numbers(1, 31).zeros(3).numbers(31, 61),
         {.buffers = 2, .gaps = 1, .gapFrames = 3}},
        {"newerInFrontOfOlder",
         [](Teller& teller) {
             teller.setRunning(true, at(0));
             teller.enqueue(makeBuffer(media(20), 30, 1), at(10));
             teller.enqueue(makeBuffer(media(10), 20, 101), at(10));
         },
         Sound().zeros(10).numbers(101, 121).numbers(11, 31),
         {.buffers = 2, .overlaps = 1, .overlapFrames = 10}},
        {"newerInsideOlder",
         [](Teller& teller) {
             teller.setRunning(true, at(0));
             teller.enqueue(makeBuffer(media(20), 30, 1), at(10));
             teller.enqueue(makeBuffer(media(30), 10, 101), at(10));
         },
         Sound().zeros(20).numbers(1, 11).numbers(101, 111).numbers(21, 31),
         {.buffers = 2, .overlaps = 1, .overlapFrames = 10}},
        {"newerOverTwoThatOverlap",
         [](Teller& teller) {
             teller.setRunning(true, at(0));
             teller.enqueue(makeBuffer(media(20), 30, 1), at(10));
             teller.enqueue(makeBuffer(media(45), 30, 101), at(10));
             teller.enqueue(makeBuffer(media(40), 20, 201), at(10));
         },
         Sound().zeros(20).numbers(1, 21).numbers(201, 221).numbers(116, 131),
         {.buffers = 3, .overlaps = 2, .overlapFrames = 5 + 20}},
        {"partlyLate",
         [](Teller& teller) {
             teller.setRunning(true, at(0));
             teller.enqueue(makeBuffer(media(20), 30, 1), at(29));
         },
         Sound().zeros(29).numbers(10, 31),
         {.buffers = 1, .late = 1, .lateFrames = 9}},
        {"whollyLate",
         [](Teller& teller) {
             teller.setRunning(true, at(0));
             teller.enqueue(makeBuffer(media(0), 20, 1), at(0));
             teller.enqueue(makeBuffer(media(20), 20, 21), at(40));
             teller.enqueue(makeBuffer(media(50), 20, 51), at(40));
         },
         Sound().numbers(1, 21).zeros(30).numbers(51, 71),
         {.buffers = 3, .gaps = 1, .gapFrames = 30, .late = 1, .lateFrames = 20}},
        {"flushBetween",
         [](Teller& teller) {
             teller.setRunning(true, at(0));
             teller.enqueue(makeBuffer(media(10), 50, 1), at(0));
             teller.flush(at(30));
             teller.enqueue(makeBuffer(media(40), 10, 101), at(30));
         },
         Sound().zeros(10).numbers(1, 21).zeros(10).numbers(101, 111),
         {.buffers = 2}},
        {"heldThreeTimes",
         [](Teller& teller) {
             teller.enqueue(makeBuffer(media(0), 40, 1), at(0));
             for (int round = 0; round < 4; ++round) {
                 teller.setRunning(true, at(5 + 20 * round));
                 teller.setRunning(false, at(15 + 20 * round));
             }
         },
         Sound()
             .zeros(5)
             .numbers(1, 11)
             .zeros(10)
             .numbers(11, 21)
             .zeros(10)
             .numbers(21, 31)
             .zeros(10)
             .numbers(31, 41),
         {.buffers = 1}},
        {"enqueuedBehindHeldTime",
         [](Teller& teller) {
             teller.setRunning(true, at(0));
             teller.setRunning(false, at(20));
             teller.enqueue(makeBuffer(media(10), 20, 1), at(25));
             teller.setRunning(true, at(30));
         },
         Sound().zeros(30).numbers(11, 21),
         {.buffers = 1, .late = 1, .lateFrames = 10}},
        {"sameTimeInTheirOrder",
         [](Teller& teller) {
             teller.setRunning(true, at(20));
             teller.enqueue(makeBuffer(media(0), 20, 1), at(20));
             teller.flush(at(20));
             teller.enqueue(makeBuffer(media(0), 20, 101), at(20));
         },
         Sound().zeros(20).numbers(101, 121),
         {.buffers = 2}},
    };
}

class PlayoutTimelineCaseTest : public testing::TestWithParam<Case> {};

TEST_P(PlayoutTimelineCaseTest, soundsAlikeInPiecesOfAnySizeAndHoweverLateItIsRendered) {
    Teller teller;
    GetParam().tell(teller);
    std::vector<float> expected = GetParam().sound.samples();
    expected.resize(120, 0.0F);
    for (const airplay::FrameIndex step : {1, 7, 120}) {
        for (const bool late : {false, true}) {
            PlayoutTimeline timeline;
            EXPECT_EQ(renderLeft(timeline, teller.commands(), grid, 0, 120, step, late), expected);
            EXPECT_EQ(list(timeline.counters()), list(GetParam().counters)) << "step " << step;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, PlayoutTimelineCaseTest, testing::ValuesIn(cases()),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST(PlayoutTimelineTest, aCommandBehindWhatWasRenderedChangesOnlyWhatFollows) {
    PlayoutTimeline timeline;
    Teller teller;
    teller.setRunning(true, at(0));
    teller.enqueue(makeBuffer(media(20), 60, 1), at(0));
    std::vector<float> sound = renderLeft(timeline, teller.commands(), grid, 0, 40, 40);
    Teller late = teller;
    late.setRunning(false, at(30));
    timeline.give(late.commands().back());
    const auto rest = renderLeft(timeline, {}, grid, 40, 20, 20);
    sound.insert(sound.end(), rest.begin(), rest.end());
    EXPECT_EQ(sound, Sound().zeros(20).numbers(1, 21).zeros(20).samples());
    late.setRunning(true, at(60)); // media time goes on from where it was held
    timeline.give(late.commands().back());
    EXPECT_EQ(renderLeft(timeline, {}, grid, 60, 20, 20), Sound().numbers(11, 31).samples());
}

TEST(PlayoutTimelineTest, adjoiningBuffersNeitherGapNorOverlapAtAnyFractionOfTheAnchor) {
    for (int fraction = 0; fraction < 22'676; fraction += 31) { // nanoseconds: one frame's length
        const auto start = epoch + dispatch::Nanoseconds{fraction};
        for (const coremedia::CMTime offset :
             {CMTimeMake(fraction % 1601, 705'600'000), CMTimeMake(1, 44100 * 7)}) {
            PlayoutTimeline timeline;
            Teller teller;
            teller.setRunning(true, start);
            coremedia::CMTime time = CMTimeAdd(media(10), offset);
            for (int index = 0; index < 4; ++index) {
                teller.enqueue(makeBuffer(time, 8, 1 + 8 * index), start);
                time = CMTimeAdd(time, media(8));
            }
            const auto sound = renderLeft(timeline, teller.commands(), grid, 0, 60, 60, true);
            const auto first = std::find(sound.begin(), sound.end(), 1.0F);
            const double exact = 10 + fraction * 44100e-9 + coremedia::CMTimeGetSeconds(offset) * 44100;
            ASSERT_LE(std::abs(static_cast<double>(first - sound.begin()) - exact), 0.5 + 1e-6) << fraction;
            ASSERT_TRUE(std::ranges::equal(std::span(first, first + 32), Sound().numbers(1, 33).samples()));
            ASSERT_EQ(timeline.counters(), (PlayoutCounters{.buffers = 4}));
        }
    }
}

TEST(PlayoutTimelineTest, afterADayEveryFrameIsStillWhereItBelongs) {
    constexpr std::int64_t day = 86'400LL * 44'100;
    PlayoutTimeline timeline;
    Teller teller;
    const dispatch::HostTime start = epoch + 12'345ns;
    teller.setRunning(true, start);
    timeline.give(teller.commands().back());
    coremedia::CMTime time = CMTimeAdd(media(88'200), CMTimeMake(777, 705'600'000));
    std::int64_t number = 88'200;
    std::size_t released = 0;
    std::vector<float> out(2 * 8192);
    // Nobody listens until the last second of the day, when frames behind the day are heard.
    for (; number < day; number += 8192, time = CMTimeAdd(time, media(8192))) {
        const dispatch::HostTime now = grid.timeOf(number - 88'200);
        timeline.give({.kind = PlayoutCommand::Kind::enqueue,
                       .at = now,
                       .clock = {},
                       .buffer = makeBuffer(time, 1, 0)});
        timeline.pass(now);
        released += timeline.takeReleased();
    }
    const std::int64_t last = number;
    timeline.give({.kind = PlayoutCommand::Kind::enqueue,
                   .at = grid.timeOf(last - 88'200),
                   .clock = {},
                   .buffer = makeBuffer(time, 8192, 1)});
    EXPECT_EQ(timeline.render(grid, last - 1, out), airplay::Rendered::sound);
    EXPECT_EQ(out[0], 0.0F); // 12345 ns and 777 units are 0.6 of a frame: the nearest frame is the next
    EXPECT_EQ(out[2], 0.0F);
    EXPECT_EQ(out[4], 1.0F);
    EXPECT_EQ(timeline.counters().late, 0U);
    EXPECT_LE(timeline.counters().buffers - released - timeline.takeReleased(), 1U);
}

TEST(PlayoutTimelineTest, aNewTimeLineOfTheRouteMovesTheSoundWithIt) {
    PlayoutTimeline timeline;
    Teller teller;
    teller.setRunning(true, at(0));
    teller.enqueue(makeBuffer(media(20), 60, 1), at(0));
    EXPECT_EQ(renderLeft(timeline, teller.commands(), grid, 0, 40, 40),
              Sound().zeros(20).numbers(1, 21).samples());
    const FrameGrid other(at(30)); // its frame 10 is frame 40 of the first
    EXPECT_EQ(renderLeft(timeline, {}, other, 0, 30, 30), Sound().zeros(10).numbers(21, 41).samples());
}

} // namespace
} // namespace avfoundation
