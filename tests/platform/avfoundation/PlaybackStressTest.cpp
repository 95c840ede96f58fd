// SPDX-License-Identifier: MIT
#include "platform/avfoundation/AVOutputContext.h"
#include "platform/avfoundation/AVSampleBufferAudioRenderer.h"
#include "platform/avfoundation/AVSampleBufferRenderSynchronizer.h"
#include "platform/dispatch/real/RealRealm.h"
#include "tests/platform/airplay/Recordings.h"
#include "tests/platform/avfoundation/Buffers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace avfoundation {
namespace {

using namespace std::chrono_literals;
using coremedia::CMTimeAdd;
using coremedia::CMTimeMake;

dispatch::Task<> feed(AVSampleBufferAudioRenderer& renderer, AVSampleBufferRenderSynchronizer& synchronizer,
                      std::atomic<int>& running, std::atomic<int>& invocations,
                      std::atomic<bool>& overlapped) {
    overlapped = overlapped || running.fetch_add(1) > 0;
    for (int index = 0; index < 20 && renderer.isReadyForMoreMediaData(); ++index) {
        const coremedia::CMTime time = CMTimeAdd(synchronizer.currentTime(), CMTimeMake(441 * index, 44100));
        renderer.enqueueSampleBuffer(makeBuffer(time, 441, 1));
        co_await dispatch::sleepFor(100us);
    }
    running.fetch_sub(1);
    invocations.fetch_add(1);
}

/// A cycle thread that starts, stops and flushes, a feeding queue, main, and the playout, all at once.
TEST(PlaybackStressTest, cyclesFeedingAndPlayingMeetWithoutARaceAndNoRequestIsLost) {
    dispatch::RealRealm realm;
    foundation::NotificationCenter center;
    airplay::PlaybackSystem system(realm, {});
    const auto queue = realm.makeQueue("feed");
    auto context = std::make_unique<AVOutputContext>(system, center);
    AVSampleBufferRenderSynchronizer synchronizer(realm, center);
    auto renderer = std::make_unique<AVSampleBufferAudioRenderer>(system, 1);
    synchronizer.addRenderer(*renderer);
    airplay::Recording recording;
    airplay::ReceiverEntry entry;
    entry.description.identifier = "A";
    const auto receiver = std::make_shared<airplay::EmbeddedReceiver>(
        entry, airplay::EmbeddedReceiver::Surroundings{
                   .mainQueue = realm.mainQueue(), .report = {}, .observer = recording.observer()});
    std::atomic<int> running{0};
    std::atomic<int> invocations{0};
    std::atomic<bool> overlapped{false};

    std::thread cycles([&] {
        for (int round = 0; round < 60; ++round) {
            renderer->stopRequestingMediaData();
            synchronizer.setRate(0);
            renderer->flush();
            synchronizer.setRate(1);
            renderer->requestMediaDataWhenReady(
                *queue, [&] { return feed(*renderer, synchronizer, running, invocations, overlapped); });
            const int before = invocations.load();
            while (invocations.load() == before) { // the new request or the one before it ends: none is lost
                synchronizer.currentTime();
                std::this_thread::yield();
            }
        }
        realm.mainQueue().async([&] { realm.stop(); });
    });
    realm.mainQueue().async([&] {
        context->setApplicationProcessID(1);
        context->route().connect(receiver);
    });
    realm.run();
    cycles.join();
    renderer->stopRequestingMediaData();
    std::atomic<bool> idle{false};
    while (!idle.load()) { // the last invocation refers to what is destroyed below
        queue->sync([&] { idle = running.load() == 0; });
    }
    renderer.reset();
    system.finish();
    realm.mainQueue().async([&] {
        context.reset();
        realm.stop();
    });
    realm.run();
    EXPECT_FALSE(overlapped);
    EXPECT_FALSE(recording.isBroken());
    EXPECT_FALSE(recording.left().empty());
}

} // namespace
} // namespace avfoundation
