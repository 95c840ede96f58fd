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

TEST_F(PlayerRosterTest, placesAreUsedAgainOnceTheirPlayersHavePlayedOut) {
    std::list<DirectPlayer> players;
    for (std::size_t round = 0; round < PlayerRoster::maximumPlayers; ++round) {
        world.join(5).leave(); // without a frame it was never there
        players.push_back(world.join(5));
        ASSERT_NE(players.back().voice(), nullptr);
    }
    EXPECT_EQ(soundBegins, 0);
    EXPECT_THAT(active(), IsEmpty());
    EXPECT_EQ(world.join(99).voice(), nullptr);
    players.front().send(countingFrames(2 * periodFrames));
    players.front().leave();
    advance(2);
    EXPECT_EQ(world.join(99).voice(), nullptr);
    advance(1);
    EXPECT_EQ(world.join(99).voice(), players.front().voice());
}

} // namespace
} // namespace lmn
