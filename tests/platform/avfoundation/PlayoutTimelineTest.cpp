// SPDX-License-Identifier: MIT
#include "platform/avfoundation/PlayoutTimeline.h"

#include "tests/platform/avfoundation/Buffers.h"

#include <gtest/gtest.h>

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

/// So many zeros, and then the numbers from `from` to before `to`.
std::vector<float> sound(std::size_t zeros, int from, int to) {
    std::vector<float> samples(zeros + static_cast<std::size_t>(to - from), 0.0F);
    std::iota(samples.begin() + static_cast<std::ptrdiff_t>(zeros), samples.end(), static_cast<float>(from));
    return samples;
}

TEST(PlayoutTimelineTest, aCommandBehindWhatWasRenderedChangesOnlyWhatFollows) {
    PlayoutTimeline timeline;
    Teller teller;
    teller.setRunning(true, at(0));
    teller.enqueue(makeBuffer(media(20), 60, 1), at(0));
    EXPECT_EQ(renderLeft(timeline, teller.commands(), grid, 0, 40, 40), sound(20, 1, 21));
    teller.setRunning(false, at(30));
    timeline.give(teller.commands().back());
    EXPECT_EQ(renderLeft(timeline, {}, grid, 40, 20, 20), sound(20, 0, 0));
    teller.setRunning(true, at(60)); // media time goes on from where it was held
    timeline.give(teller.commands().back());
    EXPECT_EQ(renderLeft(timeline, {}, grid, 60, 20, 20), sound(0, 11, 31));
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
    const auto enqueue = [&](dispatch::HostTime now,
                             std::shared_ptr<const coremedia::CMSampleBuffer> buffer) {
        timeline.give(
            {.kind = PlayoutCommand::Kind::enqueue, .at = now, .clock = {}, .buffer = std::move(buffer)});
    };
    std::vector<float> out(2 * 8192);
    // Nobody listens until the last second of the day, when frames behind the day are heard.
    for (; number < day; number += 8192, time = CMTimeAdd(time, media(8192))) {
        const dispatch::HostTime now = grid.timeOf(number - 88'200);
        enqueue(now, makeBuffer(time, 1, 0));
        timeline.pass(now);
        released += timeline.takeReleased();
    }
    const std::int64_t last = number;
    enqueue(grid.timeOf(last - 88'200), makeBuffer(time, 8192, 1));
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
    EXPECT_EQ(renderLeft(timeline, teller.commands(), grid, 0, 40, 40), sound(20, 1, 21));
    const FrameGrid other(at(30)); // its frame 10 is frame 40 of the first
    EXPECT_EQ(renderLeft(timeline, {}, other, 0, 30, 30), sound(10, 21, 41));
}

} // namespace
} // namespace avfoundation
