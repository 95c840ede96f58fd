// SPDX-License-Identifier: MIT
#include "platform/dispatch/TaskGroup.h"
#include "tests/platform/avfoundation/World.h"

#include <gtest/gtest.h>

namespace avfoundation {
namespace {

using namespace std::chrono_literals;
using coremedia::CMTimeMake;

/// What the handlers did, one at a time; they outlive the test's own objects at times.
struct Journal {
    std::vector<std::string> lines;
    int running = 0;
};

dispatch::Task<> stay(std::shared_ptr<Journal> journal, std::string name, dispatch::Nanoseconds duration) {
    struct End { // however the invocation ends
        ~End() {
            journal.lines.push_back(name + " ends");
            --journal.running;
        }
        Journal& journal;
        const std::string& name;
    };
    journal->lines.push_back(name + " begins");
    EXPECT_EQ(++journal->running, 1);
    const End end{*journal, name};
    if (duration > 0ns) {
        co_await dispatch::sleepFor(duration);
    }
}

class MediaDataRequestTest : public testing::Test, public World {
  public:
    MediaDataRequestTest() { synchronizer.addRenderer(*renderer); }

    void request(dispatch::Queue& on, const std::string& name, dispatch::Nanoseconds duration) {
        renderer->requestMediaDataWhenReady(
            on, [kept = journal, name, duration] { return stay(kept, name, duration); });
    }
    void fill(int buffers) {
        for (int index = 0; index < buffers; ++index) {
            renderer->enqueueSampleBuffer(makeBuffer(CMTimeMake(position++, 10), 4410, 1));
        }
    }
    using Lines = std::vector<std::string>;

    std::shared_ptr<Journal> journal = std::make_shared<Journal>();
    const std::unique_ptr<dispatch::Queue> queue = realm.makeQueue("first");
    const std::unique_ptr<dispatch::Queue> otherQueue = realm.makeQueue("second");
    std::int64_t position = 0;
};

TEST_F(MediaDataRequestTest, theHandlerRunsOnceAndAgainOnlyWhenReadinessComesBack) {
    listen();
    EXPECT_FALSE(renderer->isReadyForMoreMediaData());
    request(*queue, "a", 0ns);
    EXPECT_TRUE(renderer->isReadyForMoreMediaData());
    realm.advanceBy(1s);
    EXPECT_EQ(journal->lines, (Lines{"a begins", "a ends"}));
    fill(255);
    EXPECT_TRUE(renderer->isReadyForMoreMediaData());
    fill(3);
    EXPECT_FALSE(renderer->isReadyForMoreMediaData());
    synchronizer.setRate(1);
    realm.advanceBy(250ms); // two buffers played: 256 are left
    EXPECT_FALSE(renderer->isReadyForMoreMediaData());
    EXPECT_EQ(journal->lines.size(), 2U);
    realm.advanceBy(200ms);
    EXPECT_TRUE(renderer->isReadyForMoreMediaData());
    EXPECT_EQ(journal->lines.size(), 4U);
    realm.advanceBy(10s);
    EXPECT_EQ(journal->lines.size(), 4U);
}

TEST_F(MediaDataRequestTest, aNewRequestBeginsWhenTheOldInvocationHasEndedWhateverItsQueue) {
    request(*queue, "a", 10ms);
    realm.advanceBy(1ms);
    renderer->stopRequestingMediaData();
    EXPECT_FALSE(renderer->isReadyForMoreMediaData());
    request(*otherQueue, "b", 10ms);
    EXPECT_TRUE(renderer->isReadyForMoreMediaData());
    realm.advanceBy(8ms);
    EXPECT_EQ(journal->lines, (Lines{"a begins"}));
    realm.advanceBy(1ms);
    EXPECT_EQ(journal->lines, (Lines{"a begins", "a ends", "b begins"}));
    request(*queue, "c", 0ns); // replaced before its turn
    request(*queue, "d", 0ns);
    realm.advanceBy(10ms);
    EXPECT_EQ(journal->lines, (Lines{"a begins", "a ends", "b begins", "b ends", "d begins", "d ends"}));
}

} // namespace
} // namespace avfoundation
