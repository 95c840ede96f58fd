// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/audio/settings/SettingsFixture.h"

#include <random>

namespace orb {
namespace {

using Journal = std::vector<std::string>;

class ORBManagerExchangeTest : public SettingsFixture {
  protected:
    std::string shown(const SettingsProcess& process) const {
        const ORBManager& manager = *process.manager;
        return fmt::format("{} {} {}", manager.renderLatency(), manager.prioritizeSync(),
                           manager.legacyGroupedAirPlay());
    }

    const std::unique_ptr<SettingsProcess> here = start();
    const std::unique_ptr<SettingsProcess> there = start();
};

TEST_F(ORBManagerExchangeTest, aChangeIsTakenOverByTheOtherWhoTellsItOnceMoreAndThenAllIsQuiet) {
    here->manager->setRenderLatency(1.25);
    EXPECT_EQ(told(), 2);
    EXPECT_EQ(shown(*there), "1.25 false false");
    there->manager->setLegacyGroupedAirPlay(true);
    EXPECT_EQ(told(), 2);
    EXPECT_EQ(shown(*here), "1.25 false true");
    there->manager->resetDefaults();
    EXPECT_EQ(shown(*there), "2 false false");
    EXPECT_EQ(told(), 5) << "one for the reset, two here and two there for the two fields";
    EXPECT_EQ(shown(*here), "2 false false");
    EXPECT_EQ(reports, Journal{});
}

/// Changes from both sides before either has heard of the other's.
TEST_F(ORBManagerExchangeTest, howeverTheTwoChangeAtOnceTheyEndAlikeAndLikeTheFile) {
    std::mt19937 random(11);
    for (int round = 0; round < 60; ++round) {
        const int changes = 1 + static_cast<int>(random() % 4);
        for (int change = 0; change < changes; ++change) {
            ORBManager& manager = random() % 2 == 0 ? *here->manager : *there->manager;
            const bool enabled = random() % 2 == 0;
            switch (random() % 4) {
                case 0:
                    manager.setPrioritizeSync(enabled);
                    break;
                case 1:
                    manager.setLegacyGroupedAirPlay(enabled);
                    break;
                default:
                    manager.setRenderLatency(0.5 * static_cast<double>(random() % 4));
            }
        }
        ASSERT_LE(told(), 2 * changes) << "round " << round;
        ASSERT_EQ(shown(*here), shown(*there)) << "round " << round;
        const auto third = start();
        ASSERT_EQ(shown(*third), shown(*here)) << "of the file, round " << round;
    }
    EXPECT_EQ(reports, Journal{});
}

} // namespace
} // namespace orb
