// SPDX-License-Identifier: MIT
#include "platform/dispatch/TaskGroup.h"
#include "tests/platform/avfoundation/World.h"

#include <gtest/gtest.h>

namespace avfoundation {
namespace {

using namespace std::chrono_literals;
using coremedia::CMTimeMake;

/// What the handlers did; they outlive the test's own objects at times.
struct Journal {
    std::vector<std::string> lines;
    int running = 0;
    bool overlapped = false;
};

/// Counts an invocation as running however it ends.
class Visit {
  public:
    Visit(std::shared_ptr<Journal> journal, std::string name)
        : journal_(std::move(journal)), name_(std::move(name)) {
        journal_->lines.push_back(name_ + " begins");
        journal_->overlapped = journal_->overlapped || ++journal_->running > 1;
    }
    ~Visit() {
        journal_->lines.push_back(name_ + " ends");
        --journal_->running;
    }
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;

  private:
    const std::shared_ptr<Journal> journal_;
    const std::string name_;
};

dispatch::Task<> stay(std::shared_ptr<Journal> journal, std::string name, dispatch::Nanoseconds duration) {
    const Visit visit(std::move(journal), std::move(name));
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

TEST_F(MediaDataRequestTest, aRequestMadeWhileNotReadyWaitsForRoomAndAFlushMakesIt) {
    fill(256);
    request(*queue, "a", 0ns);
    realm.advanceBy(1s);
    EXPECT_TRUE(journal->lines.empty());
    renderer->flush();
    realm.settle();
    EXPECT_EQ(journal->lines, (Lines{"a begins", "a ends"}));
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
    EXPECT_FALSE(journal->overlapped);
}

TEST_F(MediaDataRequestTest, aRequestStoppedBeforeItsTurnIsNeverInvoked) {
    request(*queue, "a", 0ns);
    renderer->stopRequestingMediaData();
    realm.advanceBy(1s);
    EXPECT_TRUE(journal->lines.empty());
    request(*queue, "b", 0ns);
    realm.advanceBy(1s);
    EXPECT_EQ(journal->lines, (Lines{"b begins", "b ends"}));
}

TEST_F(MediaDataRequestTest, destructionCancelsASuspendedInvocationAndFreesItsHandler) {
    request(*queue, "a", 1h);
    realm.advanceBy(1ms);
    renderer.reset();
    EXPECT_EQ(journal->lines, (Lines{"a begins"}));
    realm.settle();
    EXPECT_EQ(journal->lines, (Lines{"a begins", "a ends"}));
    EXPECT_EQ(journal.use_count(), 1);
    EXPECT_EQ(realm.armedTimers(), 0U);
}

TEST_F(MediaDataRequestTest, destructionBeforeTheTurnOfAnInvocationInvokesNothing) {
    request(*queue, "a", 1h);
    renderer.reset();
    realm.settle();
    EXPECT_TRUE(journal->lines.empty());
    EXPECT_EQ(journal.use_count(), 1);
}

dispatch::Task<> replace(MediaDataRequestTest& test) {
    test.journal->lines.emplace_back("replaces");
    test.renderer->stopRequestingMediaData();
    test.request(*test.queue, "b", 0ns);
    co_return;
}

TEST_F(MediaDataRequestTest, aHandlerMayReplaceItsOwnRequest) {
    renderer->requestMediaDataWhenReady(*queue, [this] { return replace(*this); });
    realm.advanceBy(1ms);
    EXPECT_EQ(journal->lines, (Lines{"replaces", "b begins", "b ends"}));
}

} // namespace
} // namespace avfoundation
