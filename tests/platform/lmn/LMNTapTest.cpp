// SPDX-License-Identifier: MIT
#include "tests/platform/lmn/LMNTestWorld.h"

#include <gmock/gmock.h>

namespace lmn {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAreArray;

class LMNTapTest : public testing::Test {
  protected:
    Listener listen(LMNTapConfig config) {
        Listener listener(world.system, std::move(config));
        listener.tap().start();
        realm.settle();
        return listener;
    }

    dispatch::VirtualRealm realm;
    RosterWorld world{realm};
};

LMNProcessReference processReference(std::string_view key, LMNAttributeValue value) {
    return {{{std::string(key), std::move(value)}}};
}

TEST_F(LMNTapTest, ioEndsOneLeadOutAfterTheSound) {
    for (const double leadout : {0.0, 0.5, 3.25}) {
        const Listener listener = listen(tapOn(*world.device, leadout));
        DirectPlayer player = world.join(7);
        player.send(countingFrames(9 * periodFrames - 100));
        player.leave();
        realm.advanceBy(20s);
        EXPECT_EQ(listener.periods(), 9 + static_cast<std::size_t>(leadout * rate) / periodFrames);
        EXPECT_EQ(realm.armedTimers(), 0U);
    }
}

TEST_F(LMNTapTest, aTapIsWokenByAndHearsTheSumOfTheProcessesThatItCapturesWhereItsMappingsLead) {
    LMNTapConfig config = tapOn(*world.device);
    config.sources[0].processReferences = {
        processReference(LMNProcessPIDKey, std::int32_t{11}),
        processReference(LMNDeviceUIDKey, std::string(LMNStereoMixdownDeviceUID)),
        processReference(LMNProcessHierarchalKey, true)};
    const Listener exclusive = listen(config);
    config.sources[0].exclusive = false;
    config.sources[0].channelMappings = {{1, 2}, {2, 1}, {2, 3}, {0, 1}, {3, 1}, {1, 0}, {1, 4}};
    config.channelCount = 3;
    const Listener inclusive = listen(config);

    const auto play = [&](std::int32_t pid, const std::string& deviceUID, int first) {
        std::vector<float> sound = countingFrames(9 * periodFrames, first);
        world.join(pid, deviceUID).send(sound);
        return sound;
    };
    std::vector<float> listed = play(11, "", 1);
    mixInto(listed, play(12, std::string(LMNStereoMixdownDeviceUID), 1000));
    realm.advanceUntil([&] { return inclusive.periods() == 9; }, 1s);
    std::vector<float> mapped;
    for (std::size_t left = 0; left < listed.size(); left += 2)
        mapped.insert(mapped.end(), {listed[left + 1], listed[left], listed[left + 1]});
    EXPECT_THAT(inclusive.heard(), ElementsAreArray(mapped));
    EXPECT_EQ(exclusive.starts(), 0);

    std::vector<float> others = play(13, "", 500);
    mixInto(others, play(14, "", 2500));
    realm.advanceUntil([&] { return exclusive.periods() == 9; }, 1s);
    EXPECT_THAT(exclusive.heard(), ElementsAreArray(others));
}

TEST_F(LMNTapTest, aPlayerThatRanDryIsSilentUntilItHasSentAheadAgainAndLosesNothing) {
    const Listener listener = listen(tapOn(*world.device, 100));
    const std::vector<float> sound = countingFrames(25 * periodFrames);
    const std::span<const float> all = sound;
    DirectPlayer player = world.join(1);
    player.send(all.first(2 * 4409));
    realm.advanceBy(1s);
    EXPECT_EQ(listener.starts(), 0) << "a tenth of a second is not there yet";
    player.send(all.subspan(2 * 4409, 2 * 1)); // eight periods and 314 frames
    realm.advanceUntil([&] { return listener.periods() == 12; }, 1s);
    player.send(all.subspan(2 * 4410, 2 * 4409));
    realm.advanceUntil([&] { return listener.periods() == 15; }, 1s);
    player.send(all.subspan(2 * 8819));
    realm.advanceUntil([&] { return listener.periods() == 40; }, 1s);

    std::vector<float> expected = sound;
    expected.insert(expected.begin() + 2 * 4410, 2 * (15 * periodFrames - 4410), 0.0F);
    expected.resize(40 * periodFrames * 2);
    EXPECT_EQ(listener.heard(), expected);
    EXPECT_EQ(world.roster->underruns(), 2U);
    EXPECT_EQ(listener.starts(), 1);
}

} // namespace
} // namespace lmn
