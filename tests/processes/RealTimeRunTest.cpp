// SPDX-License-Identifier: MIT
#include "tests/orbctl/sound/WriteSound.h"
#include "tests/processes/MirrorlabTest.h"

#include <gmock/gmock.h>

#include <csignal>

namespace mirrorlab::test {
namespace {

using namespace orbctl;
using namespace orbctl::test;
using namespace std::chrono_literals;
using ::testing::HasSubstr;
using ::testing::SizeIs;

/// Who is killed in a run that would last for minutes, how the run ends then, and its options.
struct Kill {
    bool player;
    int status;
    std::vector<std::string> options;
};

class KillTest : public MirrorlabTest, public ::testing::WithParamInterface<Kill> {};

TEST_P(KillTest, endsTheRunAndThePlayerAndIsTold) {
    const auto& [player, status, options] = GetParam();
    writeSound(file("sound.wav"), described(0, 7 * framesPerSecond));
    support::PeerProcess process = start(runOf(file("sound.wav"), options));
    const auto isHeard = [this] {
        return foundation::readFile(output() + "/mirrorlab.log").find("first chunk") != std::string::npos;
    };
    constexpr int mostLooks = 1000;
    for (int look = 0; look < mostLooks && !isHeard(); ++look)
        ASSERT_FALSE(support::endsWithin(process.pid(), 20ms)) << "no sound comes";
    const std::vector<pid_t> players = childrenOf(process.pid());
    ASSERT_THAT(players, SizeIs(1));
    ::kill(player ? players.front() : process.pid(), SIGKILL);
    if (!player) {
        EXPECT_EQ(process.end(), status);
        EXPECT_TRUE(support::endsWithin(players.front(), 10s)) << "the player plays on to nobody";
        return;
    }
    const Ending ending = endOf(process);
    EXPECT_EQ(ending.status, status);
    EXPECT_THAT(ending.errors, HasSubstr("mirrorlab: the player ended with status 137"));
}

INSTANTIATE_TEST_SUITE_P(Victims, KillTest,
                         ::testing::Values(Kill{true, 70, {"--duration", "600"}},
                                           Kill{true, 70, {"--duration", "2000", "--virtual"}},
                                           Kill{false, 137, {"--duration", "600"}}));

} // namespace
} // namespace mirrorlab::test
