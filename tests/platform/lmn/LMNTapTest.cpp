// SPDX-License-Identifier: MIT
#include "tests/platform/lmn/LMNTestWorld.h"
#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>

namespace lmn {
namespace {

using namespace std::chrono_literals;
using testing::Each;
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

class LMNTapLeadoutTest : public LMNTapTest, public testing::WithParamInterface<double> {};

TEST_P(LMNTapLeadoutTest, ioBeginsWithTheSoundAndEndsOneLeadOutAfterIt) {
    const Listener listener = listen(tapOn(*world.device, GetParam()));
    const auto silentPeriods = static_cast<std::size_t>(GetParam() * rate) / periodFrames;
    for (int round = 1; round <= 2; ++round) {
        const std::size_t before = listener.periods().size();
        realm.advanceBy(5s);
        ASSERT_EQ(listener.starts(), round - 1);
        const dispatch::HostTime origin = firstDue(realm.clock().now());
        const std::vector<float> sound = countingFrames(9 * periodFrames);
        DirectPlayer player = world.join(7);
        player.send(sound);
        player.leave();
        realm.advanceBy(20s);

        ASSERT_EQ(listener.periods().size() - before, 9 + silentPeriods);
        EXPECT_EQ(listener.stops(), round);
        std::vector<float> expected = sound;
        expected.resize((9 + silentPeriods) * periodFrames * 2);
        const std::vector<float> heard = listener.heard();
        EXPECT_TRUE(std::equal(heard.begin() + static_cast<std::ptrdiff_t>(before * periodFrames * 2),
                               heard.end(), expected.begin(), expected.end()));
        for (std::size_t period = before; period < listener.periods().size(); ++period) {
            ASSERT_EQ(listener.periods()[period].due,
                      dueAfter(origin, static_cast<std::int64_t>(period - before)));
        }
    }
    EXPECT_EQ(realm.armedTimers(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Leadouts, LMNTapLeadoutTest, testing::Values(0.0, 0.5, 1.0, 3.25));

TEST_F(LMNTapTest, excludedProcessesAreNeitherHeardNorWakeTheTap) {
    LMNTapConfig config = tapOn(*world.device);
    config.sources[0].processReferences = {
        processReference(LMNProcessPIDKey, std::int32_t{11}),
        processReference(LMNDeviceUIDKey, std::string(LMNStereoMixdownDeviceUID)),
        processReference(LMNProcessHierarchalKey, true)};
    const Listener listener = listen(config);

    const std::vector<float> loud(10 * periodFrames * 2, 0.5F);
    DirectPlayer byPid = world.join(11);
    DirectPlayer byDevice = world.join(12, std::string(LMNStereoMixdownDeviceUID));
    byPid.send(loud);
    byDevice.send(loud);
    realm.advanceBy(1s);
    EXPECT_EQ(listener.starts(), 0);

    const std::vector<float> sound = countingFrames(9 * periodFrames);
    DirectPlayer other = world.join(13);
    other.send(sound);
    realm.advanceUntil([&] { return listener.periods().size() == 9; }, 1s);
    EXPECT_THAT(listener.heard(), ElementsAreArray(sound));
}

TEST_F(LMNTapTest, anInclusiveTapHearsTheListedProcessesOnly) {
    LMNTapConfig config = tapOn(*world.device);
    config.sources[0].exclusive = false;
    config.sources[0].processReferences = {processReference(LMNProcessPIDKey, std::int32_t{11})};
    const Listener listener = listen(config);
    const std::vector<float> sound = countingFrames(9 * periodFrames);
    world.join(12).send(std::vector<float>(9 * periodFrames * 2, 0.5F));
    world.join(11).send(sound);
    realm.advanceUntil([&] { return listener.periods().size() == 9; }, 1s);
    EXPECT_THAT(listener.heard(), ElementsAreArray(sound));
}

TEST_F(LMNTapTest, severalTapsHearTheSameAndNoneTakesFramesFromAnother) {
    const Listener first = listen(tapOn(*world.device));
    const std::vector<float> sound = countingFrames(20 * periodFrames);
    DirectPlayer player = world.join(1);
    player.send(sound);
    player.leave();
    realm.advanceUntil([&] { return first.periods().size() == 5; }, 1s);
    const Listener second = listen(tapOn(*world.device));
    realm.advanceBy(10s);

    ASSERT_EQ(first.stops(), 1);
    ASSERT_EQ(second.stops(), 1);
    std::vector<float> all = first.heard();
    EXPECT_TRUE(std::equal(sound.begin(), sound.end(), all.begin()));
    all.erase(all.begin(), all.begin() + 5 * periodFrames * 2);
    EXPECT_EQ(second.heard(), all);
}

TEST_F(LMNTapTest, stoppingEndsIOAtOnceAndLeavesTheRestToTheNextStart) {
    Listener listener = listen(tapOn(*world.device));
    const std::vector<float> sound = countingFrames(30 * periodFrames);
    world.join(1).send(sound);
    realm.advanceUntil([&] { return listener.periods().size() == 5; }, 1s);
    listener.tap().stop();
    realm.advanceBy(3s);
    EXPECT_EQ(listener.stops(), 1);
    EXPECT_EQ(listener.periods().size(), 5U);
    listener.tap().start();
    realm.advanceUntil([&] { return listener.periods().size() == 10; }, 1s);
    EXPECT_TRUE(std::ranges::equal(listener.heard(), std::span(sound).first(10 * periodFrames * 2)));
}

TEST_F(LMNTapTest, aTapRestartedWithinOnePeriodHearsEachPeriodOnce) {
    Listener listener = listen(tapOn(*world.device));
    const std::vector<float> sound = countingFrames(30 * periodFrames);
    world.join(1).send(sound);
    realm.advanceUntil([&] { return listener.periods().size() == 5; }, 1s);
    listener.tap().stop();
    listener.tap().start();
    realm.advanceUntil([&] { return listener.periods().size() >= 10; }, 1s);
    EXPECT_EQ(listener.starts(), 2);
    EXPECT_TRUE(std::ranges::equal(listener.heard(), std::span(sound).first(10 * periodFrames * 2)));
}

TEST_F(LMNTapTest, severalPlayersAreSummedSampleForSample) {
    const Listener listener = listen(tapOn(*world.device));
    std::vector<float> sum(10 * periodFrames * 2);
    for (const int first : {1, 1000, 20000}) {
        const std::vector<float> sound = countingFrames(10 * periodFrames, first);
        mixInto(sum, sound);
        world.join(first).send(sound);
    }
    realm.advanceUntil([&] { return listener.periods().size() == 10; }, 1s);
    EXPECT_THAT(listener.heard(), ElementsAreArray(sum));
}

TEST_F(LMNTapTest, aPlayerThatRanDryIsSilentUntilItHasSentAheadAgainAndLosesNothing) {
    const Listener listener = listen(tapOn(*world.device, 100));
    const std::vector<float> sound = countingFrames(25 * periodFrames);
    const std::span<const float> all = sound;
    DirectPlayer player = world.join(1);
    player.send(all.first(2 * 4500)); // eight periods and 404 frames
    realm.advanceUntil([&] { return listener.periods().size() == 12; }, 1s);
    player.send(all.subspan(2 * 4500, 2 * 4409));
    realm.advanceUntil([&] { return listener.periods().size() == 15; }, 1s);
    player.send(all.subspan(2 * 8909));
    realm.advanceUntil([&] { return listener.periods().size() == 40; }, 1s);

    std::vector<float> expected = sound;
    expected.insert(expected.begin() + 2 * 4500, 2 * (15 * periodFrames - 4500), 0.0F);
    expected.resize(40 * periodFrames * 2);
    EXPECT_EQ(listener.heard(), expected);
    EXPECT_EQ(world.roster->underruns(), 2U);
    EXPECT_EQ(listener.starts(), 1);
}

TEST_F(LMNTapTest, channelsGoWhereTheMappingsLeadThem) {
    struct Case {
        std::vector<LMNChannelMapping> mappings;
        std::vector<float> frame; // of a player whose frames are (0.25, -0.5)
    };
    const std::vector<Case> cases = {
        {{{1, 1}, {2, 2}}, {0.25F, -0.5F}},       {{{1, 2}, {2, 1}}, {-0.5F, 0.25F}},
        {{{1, 1}, {1, 2}}, {0.25F, 0.25F}},       {{{1, 1}, {2, 1}}, {-0.25F, 0.0F}},
        {{{2, 3}, {1, 1}}, {0.25F, 0.0F, -0.5F}}, {{{0, 1}, {3, 1}, {1, 0}, {1, 3}, {2, 2}}, {0.0F, -0.5F}}};
    std::vector<float> sound;
    for (std::size_t frame = 0; frame < 30 * periodFrames; ++frame) {
        sound.insert(sound.end(), {0.25F, -0.5F});
    }
    world.join(1).send(sound);
    for (const Case& wanted : cases) {
        LMNTapConfig config = tapOn(*world.device);
        config.channelCount = static_cast<std::uint32_t>(wanted.frame.size());
        config.sources[0].channelMappings = wanted.mappings;
        const Listener listener = listen(config);
        ASSERT_TRUE(realm.advanceUntil([&] { return !listener.periods().empty(); }, 1s));
        const std::vector<float>& heard = listener.periods()[0].samples;
        ASSERT_EQ(heard.size(), periodFrames * wanted.frame.size());
        for (std::size_t sample = 0; sample < heard.size(); ++sample) {
            ASSERT_EQ(heard[sample], wanted.frame[sample % wanted.frame.size()])
                << testing::PrintToString(wanted.frame) << " sample " << sample;
        }
    }
}

TEST_F(LMNTapTest, whatCannotBeTappedIsToldAndDoesNoHarm) {
    const LogCapture log;
    LMNTapConfig config = tapOn(*world.device);
    LMNTap withoutContext(world.system, config, nullptr);
    withoutContext.start();
    EXPECT_EQ(log.count(4, "cannot start on device \"mirror\": there is no IO context"), 1U);

    config.sources[0].deviceReference.attributes = {{std::string(LMNDeviceUIDKey), std::string("absent")}};
    const Listener listener = listen(config);
    EXPECT_EQ(log.count(4, "cannot start on device \"absent\": there is no such device"), 1U);
    world.join(1).send(countingFrames(9 * periodFrames));
    realm.advanceBy(1s);
    EXPECT_EQ(listener.starts(), 0);
}

} // namespace
} // namespace lmn
