// SPDX-License-Identifier: MIT
#include "tests/platform/lmn/LMNTestWorld.h"

#include <gmock/gmock.h>

#include <list>

namespace lmn {
namespace {

using testing::IsEmpty;

class PlayerRosterTest : public testing::Test {
  protected:
    LMNProcessSet active() { return world.device->activeProcesses().get(); }

    void advance(int periods) {
        for (int count = 0; count < periods; ++count) {
            world.roster->advance(period++, periodFrames);
            realm.settle();
        }
    }

    dispatch::VirtualRealm realm;
    RosterWorld world{realm};
    std::uint64_t period = 0;
    int soundBegins = 0;
    const foundation::Subscription subscription = world.roster->observeSoundBegins([this] { ++soundBegins; });
};

TEST_F(PlayerRosterTest, aProcessIsActiveFromItsSoundToItsEndEvenWhileItIsDry) {
    const LMNProcess process{.pid = 5, .name = "player", .deviceUID = ""};
    DirectPlayer player = world.join(process.pid);
    player.send(countingFrames(100));
    EXPECT_THAT(active(), IsEmpty());
    player.send(countingFrames(PlayerVoice::prefill));
    EXPECT_EQ(active(), LMNProcessSet{process});
    advance(20);
    EXPECT_EQ(player.voice()->state(), PlayerVoice::State::filling);
    EXPECT_EQ(active(), LMNProcessSet{process});
    player.send(countingFrames(100));
    player.leave();
    EXPECT_EQ(active(), LMNProcessSet{process});
    advance(2);
    EXPECT_THAT(active(), IsEmpty());
    EXPECT_EQ(soundBegins, 2);
}

TEST_F(PlayerRosterTest, aPlayerThatLeavesWithoutAFrameWasNeverThere) {
    std::vector<LMNProcessSet> seen;
    const auto watch = world.device->activeProcesses().observe([&](const auto& now) { seen.push_back(now); });
    for (std::size_t round = 0; round < 2 * PlayerRoster::maximumPlayers; ++round) {
        DirectPlayer player = world.join(5);
        ASSERT_NE(player.voice(), nullptr) << "places are used up by players that have left";
        player.leave();
    }
    EXPECT_EQ(soundBegins, 0);
    EXPECT_THAT(seen, IsEmpty());
}

TEST_F(PlayerRosterTest, placesAreUsedAgainOnceTheirPlayersHavePlayedOut) {
    std::list<DirectPlayer> players;
    for (std::size_t place = 0; place < PlayerRoster::maximumPlayers; ++place) {
        players.push_back(world.join(static_cast<std::int32_t>(place)));
        ASSERT_NE(players.back().voice(), nullptr);
    }
    EXPECT_EQ(world.join(99).voice(), nullptr);
    players.front().send(countingFrames(2 * periodFrames));
    players.front().leave();
    advance(2);
    EXPECT_EQ(world.join(99).voice(), nullptr);
    advance(1);
    EXPECT_EQ(world.join(99).voice(), players.front().voice());
}

TEST_F(PlayerRosterTest, aSenderIsAskedForMoreUntilItIsForgotten) {
    int asked = 0;
    PlayerVoice* voice = nullptr;
    world.serverQueue->sync([&] {
        voice = world.roster->join({}, [&] { ++asked; });
        voice->fifo().write(countingFrames(PlayerFifo::capacity));
        world.roster->framesArrived(*voice);
    });
    advance(PlayerVoice::refill / periodFrames - 1);
    EXPECT_EQ(asked, 0);
    advance(1);
    EXPECT_EQ(asked, 1);
    world.serverQueue->sync([&] { world.roster->forget(*voice); });
    advance(3);
    EXPECT_EQ(asked, 1);
}

} // namespace
} // namespace lmn
