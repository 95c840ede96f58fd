// SPDX-License-Identifier: MIT
#include "platform/dispatch/real/RealRealm.h"
#include "tests/ORBRouteService/audio/settings/SettingsProcess.h"
#include "tests/platform/foundation/TemporaryDirectory.h"
#include "tests/support/PeerProcess.h"
#include "tests/support/runUntilStopped.h"

namespace orb {
namespace {

using namespace std::chrono_literals;

class TwoProcessTest : public testing::Test {
  protected:
    TwoProcessTest() { process.makeManager(); }

    /// Runs the main queue until `name` has been heard `count` times more.
    void runUntilHeard(const std::string& name, int count) {
        int missing = count;
        const auto ear = process.distributed.observe(name, std::nullopt, realm.mainQueue(), [&](const auto&) {
            if (--missing == 0) {
                realm.stop();
            }
        });
        EXPECT_TRUE(support::runUntilStopped(realm)) << name << ": " << missing << " did not come";
    }

    const foundation::TemporaryDirectory root;
    dispatch::RealRealm realm;
    SettingsProcess process{realm, root.path(), [](const std::string& line) { ADD_FAILURE() << line; }};
};

/// The peer answers a latency of 0.5 s by switching `legacyGroupedAirPlay` on.
TEST_F(TwoProcessTest, aChangeIsActedOnInTheOtherProcessItsAnswerComesBackAndThenAllIsQuiet) {
    support::PeerProcess peer({HOUSE_BIN_DIR "/orb_manager_peer", root.path()});
    runUntilHeard("Ready", 1);
    int told = 0;
    const auto ear = process.distributed.observe(ORBConfigurationDidChange, std::nullopt, realm.mainQueue(),
                                                 [&](const auto&) { ++told; });
    process.manager->setRenderLatency(0.5);
    // This process's change and its taking over there; the answer there and its taking over here.
    runUntilHeard(ORBConfigurationDidChange, 4);
    EXPECT_TRUE(process.manager->legacyGroupedAirPlay());
    EXPECT_EQ(process.manager->renderLatency(), 0.5);
    for (int round = 0; round < 3; ++round) {
        process.distributed.post("Ping");
        runUntilHeard("Pong", 1);
    }
    EXPECT_EQ(told, 4);
    process.distributed.post("Quit");
    EXPECT_EQ(peer.end(), 0);
}

} // namespace
} // namespace orb
