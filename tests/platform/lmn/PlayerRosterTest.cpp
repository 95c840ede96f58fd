// SPDX-License-Identifier: MIT
#include "tests/platform/lmn/LMNTestWorld.h"

#include <list>

namespace lmn {
namespace {

TEST(PlayerRosterTest, placesAreUsedAgainOnceTheirPlayersHavePlayedOut) {
    dispatch::VirtualRealm realm;
    RosterWorld world(realm);
    std::uint64_t period = 0;
    const auto advance = [&] {
        world.roster->advance(period++, periodFrames);
        realm.settle();
    };
    std::list<DirectPlayer> players;
    for (std::size_t round = 0; round < PlayerRoster::maximumPlayers; ++round) {
        world.join(5).leave(); // without a frame it was never there
        players.push_back(world.join(5));
        ASSERT_NE(players.back().voice(), nullptr);
    }
    EXPECT_TRUE(world.device->activeProcesses().get().empty());
    EXPECT_EQ(world.join(99).voice(), nullptr);
    players.front().send(countingFrames(2 * periodFrames));
    players.front().leave();
    advance();
    advance();
    EXPECT_EQ(world.join(99).voice(), nullptr);
    advance();
    EXPECT_EQ(world.join(99).voice(), players.front().voice());
}

} // namespace
} // namespace lmn
