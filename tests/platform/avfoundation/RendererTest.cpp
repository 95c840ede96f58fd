// SPDX-License-Identifier: MIT
#include "tests/platform/avfoundation/World.h"

#include <gtest/gtest.h>

namespace avfoundation {
namespace {

using namespace std::chrono_literals;
using coremedia::CMTimeGetSeconds;
using coremedia::CMTimeMake;

class RendererTest : public testing::Test, public World {
  public:
    RendererTest() { synchronizer.addRenderer(*renderer); }
};

TEST_F(RendererTest, mediaTimeRunsExactlyHoldsAndNeverFalls) {
    EXPECT_EQ(synchronizer.rate(), 0);
    realm.advanceBy(10s);
    EXPECT_EQ(CMTimeGetSeconds(synchronizer.currentTime()), 0);
    synchronizer.setRate(0.25F);
    EXPECT_EQ(synchronizer.rate(), 1);
    realm.advanceBy(24h * 30 + 250ms);
    EXPECT_EQ(synchronizer.currentTime().value,
              (86400LL * 30 * 4 + 1) * coremedia::kCMTimeAudioTimescale / 4);
    EXPECT_EQ(synchronizer.currentTime().timescale, coremedia::kCMTimeAudioTimescale);
    const coremedia::CMTime read = synchronizer.currentTime();
    {
        const dispatch::CycleScope late(realm.clock().now() - 100ms);
        EXPECT_LT(CMTimeGetSeconds(synchronizer.currentTime()), CMTimeGetSeconds(read)); // of its own time
        synchronizer.setRate(0);
        EXPECT_GE(CMTimeCompare(synchronizer.currentTime(), read), 0);
    }
    realm.advanceBy(1s);
    EXPECT_EQ(CMTimeCompare(synchronizer.currentTime(), read), 0);
    EXPECT_EQ(synchronizer.rate(), 0);
}

TEST_F(RendererTest, buffersThatCannotBePlayedAreCountedAndReportedOnce) {
    auto mono = coremedia::packedFloatDescription(44100, 1);
    auto fast = coremedia::packedFloatDescription(48000, 2);
    renderer->enqueueSampleBuffer(makeBuffer(CMTimeMake(0, 1), 10, 1, mono));
    renderer->enqueueSampleBuffer(makeBuffer(CMTimeMake(0, 1), 10, 1, fast));
    renderer->enqueueSampleBuffer(makeBuffer(CMTimeMake(std::int64_t{1} << 62, 1), 10, 1));
    EXPECT_EQ(renderer->counters().refused, 3U);
    EXPECT_TRUE(enqueued.empty());
    EXPECT_EQ(reports.size(), 1U);
}

/// The playout is stuck, as on a disk that does not answer: nothing it is told is taken.
TEST_F(RendererTest, aJournalThatOverflowsLosesSoundButNotTheState) {
    listen();
    const dispatch::HostTime start = realm.clock().now();
    synchronizer.setRate(1);
    for (int index = 0; index < 3000; ++index) {
        renderer->enqueueSampleBuffer(makeBuffer(CMTimeMake(1, 1), 1, 7));
    }
    synchronizer.setRate(0);
    renderer->flush();
    synchronizer.setRate(1);
    EXPECT_GT(renderer->counters().overflowed, 1900U);
    realm.settle();
    realm.advanceBy(100ms);
    EXPECT_EQ(renderer->counters().timeline.buffers + renderer->counters().overflowed, 3000U);
    renderer->enqueueSampleBuffer(makeBuffer(CMTimeMake(2, 1), 100, 1));
    realm.advanceBy(3s);
    ASSERT_GT(recording.left().size(), 88200U);
    EXPECT_EQ(recording.left()[44100], 0.0F);
    EXPECT_EQ(recording.left()[88200], 1.0F);
    EXPECT_EQ(realm.clock().now(), start + 3100ms);
}

} // namespace
} // namespace avfoundation
