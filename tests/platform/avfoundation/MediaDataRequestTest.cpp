// SPDX-License-Identifier: MIT
#include "tests/platform/avfoundation/World.h"

#include <gtest/gtest.h>

namespace avfoundation {
namespace {

using namespace std::chrono_literals;

dispatch::Task<> note(std::vector<std::string>& journal, std::string name) {
    journal.push_back(name + " begins");
    co_await dispatch::sleepFor(10ms);
    journal.push_back(name + " ends");
}

class MediaDataRequestTest : public testing::Test, public World {
  public:
    MediaDataRequestTest() { synchronizer.addRenderer(*renderer); }

    void request(dispatch::Queue& on, const std::string& name) {
        renderer->requestMediaDataWhenReady(on, [this, name] { return note(journal, name); });
    }
    void fill(int buffers) {
        for (int index = 0; index < buffers; ++index)
            renderer->enqueueSampleBuffer(makeBuffer(coremedia::CMTimeMake(position++, 10), 4410, 1));
    }

    const std::unique_ptr<dispatch::Queue> queue = realm.makeQueue("first");
    const std::unique_ptr<dispatch::Queue> otherQueue = realm.makeQueue("second");
    std::vector<std::string> journal;
    std::int64_t position = 0;
};

TEST_F(MediaDataRequestTest, aHandlerRunsAgainOnlyWhenThereIsRoomAgainForTheFirstTime) {
    listen();
    EXPECT_FALSE(renderer->isReadyForMoreMediaData());
    request(*queue, "a");
    realm.advanceBy(1s);
    EXPECT_EQ(journal.size(), 2U);
    fill(255);
    EXPECT_TRUE(renderer->isReadyForMoreMediaData());
    fill(3);
    synchronizer.setRate(1);
    realm.advanceBy(250ms); // two buffers played: 256 are left
    EXPECT_FALSE(renderer->isReadyForMoreMediaData());
    EXPECT_EQ(journal.size(), 2U);
    realm.advanceBy(10s);
    EXPECT_TRUE(renderer->isReadyForMoreMediaData());
    EXPECT_EQ(journal.size(), 4U);
}

TEST_F(MediaDataRequestTest, aNewRequestBeginsWhenTheOldInvocationHasEndedWhateverItsQueue) {
    request(*queue, "a");
    realm.advanceBy(1ms);
    renderer->stopRequestingMediaData();
    EXPECT_FALSE(renderer->isReadyForMoreMediaData());
    request(*queue, "b"); // replaced before its turn
    request(*otherQueue, "c");
    realm.advanceBy(1s);
    EXPECT_EQ(journal, (std::vector<std::string>{"a begins", "a ends", "c begins", "c ends"}));
}

} // namespace
} // namespace avfoundation
