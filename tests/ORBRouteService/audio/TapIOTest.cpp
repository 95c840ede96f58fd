// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/audio/MirrorWorld.h"

#include <gmock/gmock.h>

namespace orb {
namespace {

/// IO streams that begin and end as told, all of one mirror device.
class TapIOTest : public testing::Test {
  public:
    std::shared_ptr<lmn::LMNTapIOContext> makeContext() {
        lmn::LMNTap& tap = world.mirror().deviceTap();
        return world.mirror().createIOContext(tap, tap.config());
    }

    void begin(lmn::LMNTapIOContext& context) {
        world.lmn().ioQueue().sync([&] { context.willStartIO(); });
    }
    void end(lmn::LMNTapIOContext& context) {
        world.lmn().ioQueue().sync([&] { context.didStopIO(); });
    }
    void write(lmn::LMNTapIOContext& context, float value) {
        lmn::LMNBuffer buffer(2, cycleFrames, rate);
        std::fill_n(buffer.samples(), 2 * cycleFrames, value);
        world.lmn().ioQueue().sync([&] { context.processIO(buffer); });
    }
    bool sessionRuns() { return world.mirror().runner().isRunning(); }

    VirtualMirrorWorld world;
    const std::shared_ptr<lmn::LMNTapIOContext> first = makeContext();
    const std::shared_ptr<lmn::LMNTapIOContext> second = makeContext();
};

TEST_F(TapIOTest, theSessionStopsWithTheFirstOfTwoStreamsOrAtAnotherTimeAfterTheLast) {
    begin(*first);
    EXPECT_TRUE(sessionRuns());
    begin(*second);
    end(*first);
    world.run(1);
    EXPECT_TRUE(sessionRuns());
    end(*second);
    world.run(0.3499);
    EXPECT_TRUE(sessionRuns());
    world.run(0.0002);
    EXPECT_FALSE(sessionRuns());
}

TEST_F(TapIOTest, aPendingStopOutlivesANewStreamOrCountsFromAnEarlierEnd) {
    begin(*first);
    end(*first);
    world.run(0.3);
    begin(*second);
    world.run(1);
    EXPECT_TRUE(sessionRuns());
    end(*second);
    world.run(0.3);
    end(*second); // once too often: the time begins anew
    world.run(0.3);
    EXPECT_TRUE(sessionRuns());
    world.run(0.1);
    EXPECT_FALSE(sessionRuns());
    EXPECT_EQ(world.countLines("stopping session after debounce"), 1U);
}

TEST_F(TapIOTest, anEndWithoutABeginningCountsAsOne) {
    end(*first);
    begin(*first);
    world.run(1);
    EXPECT_TRUE(sessionRuns());
}

TEST_F(TapIOTest, aStopOfTheSessionLeavesSoundInTheQueueOrTheRenderer) {
    world.connect({0});
    begin(*first);
    for (int cycle = 0; cycle < 100; ++cycle) {
        write(*first, 0.5F);
        world.run(cycleSeconds);
    }
    ASSERT_FALSE(world.enqueued().empty());
    write(*first, 0.5F);
    write(*second, 0.5F);
    world.mirror().runner().stop();
    world.run(0.01);
    EXPECT_EQ(world.mirror().syncronizer().rate(), 0.0F);
    const double silent = world.mirror().silentSeconds();
    world.mirror().runner().start();
    world.run(20.5 * cycleSeconds);
    EXPECT_GE(world.mirror().silentSeconds(), silent + 19 * cycleSeconds);
    EXPECT_THAT(world.heard(), testing::Each(Frame{}));
}

} // namespace
} // namespace orb
