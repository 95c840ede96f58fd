// SPDX-License-Identifier: MIT
#include "tests/platform/avfoundation/World.h"

#include <gtest/gtest.h>

namespace avfoundation {
namespace {

using namespace std::chrono_literals;
using coremedia::CMTimeAdd;
using coremedia::CMTimeGetSeconds;
using coremedia::CMTimeMake;

class RendererTest : public testing::Test, public World {
  public:
    RendererTest() { synchronizer.addRenderer(*renderer); }

    /// Enqueues the next 8192 frames and lets their time pass.
    void playBuffer() {
        renderer->enqueueSampleBuffer(makeBuffer(next, 8192, number));
        next = CMTimeAdd(next, CMTimeMake(8192, 44100));
        number += 8192;
        realm.advanceBy(dispatch::Nanoseconds{8192LL * 1'000'000'000 / 44100});
    }

    /// Two seconds ahead of the clock from here on.
    void anchor() { next = CMTimeAdd(synchronizer.currentTime(), CMTimeMake(2 * 44100, 44100)); }

    coremedia::CMTime next;
    std::int64_t number = 1;
};

TEST_F(RendererTest, twoReceiversHearTheSameFrameAtTheInstantItsPresentationTimeMeans) {
    airplay::Recording other;
    const dispatch::HostTime epoch = realm.clock().now();
    listen();
    onMain([&] { context->route().connect(makeReceiver("B", other)); });
    realm.advanceBy(123'456'789ns);
    synchronizer.setRate(1);
    anchor();
    for (int buffer = 0; buffer < 50; ++buffer) {
        playBuffer();
    }
    realm.advanceBy(3s);
    ASSERT_EQ(recording.left(), other.left());
    EXPECT_FALSE(recording.isBroken());
    const auto& left = recording.left();
    const auto first = static_cast<std::size_t>(std::find(left.begin(), left.end(), 1.0F) - left.begin());
    EXPECT_EQ(first, 93644U); // 2.123456789 s are 93644.4 frames
    ASSERT_GE(left.size(), first + 50 * 8192);
    for (std::size_t frame = 0; frame < 50 * 8192; ++frame) {
        ASSERT_EQ(left[first + frame], static_cast<float>(frame + 1));
    }
    EXPECT_EQ(renderer->counters().timeline, (PlayoutCounters{.buffers = 50}));
    ASSERT_EQ(enqueued.size(), 50U);
    EXPECT_EQ(enqueued[0].heardAt, epoch + 2'123'456'789ns);
    EXPECT_EQ(enqueued[0].enqueuedAt, epoch + 123'456'789ns);
}

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

TEST_F(RendererTest, aChangedRateIsToldOnTheMainQueueAndAnUnchangedOneIsNot) {
    unsigned told = 0;
    AVSampleBufferRenderSynchronizer other(realm, center);
    const auto subscription = center.observe(AVSampleBufferRenderSynchronizerRateDidChangeNotification,
                                             &synchronizer, nullptr, [&](const foundation::Notification&) {
                                                 EXPECT_TRUE(realm.mainQueue().isCurrent());
                                                 ++told;
                                             });
    other.setRate(1);
    for (const auto& [rate, times] : {std::pair(1.0F, 1U), {1.0F, 1U}, {0.0F, 2U}}) {
        synchronizer.setRate(rate);
        realm.settle();
        EXPECT_EQ(told, times);
    }
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
