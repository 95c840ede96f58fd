// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/audio/settings/SettingsFixture.h"

#include <random>

namespace orb {
namespace {

using ORBManagerExchangeTest = SettingsFixture;

std::string shown(const SettingsProcess& process) {
    const ORBManager& manager = *process.manager;
    return fmt::format("{} {} {}", manager.renderLatency(), manager.prioritizeSync(),
                       manager.legacyGroupedAirPlay());
}

/// Changes from both sides before either has heard of the other's.
TEST_F(ORBManagerExchangeTest, howeverTheTwoChangeAtOnceTheyEndAlikeAndLikeTheFile) {
    const auto here = start();
    const auto there = start();
    here->manager->setRenderLatency(1.25);
    EXPECT_EQ(told(), 2) << "whoever takes a change over tells it once more, and then all is quiet";
    EXPECT_EQ(shown(*there), "1.25 false false");
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
    EXPECT_TRUE(reports.empty());
}

} // namespace
} // namespace orb
