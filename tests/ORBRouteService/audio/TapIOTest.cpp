// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/audio/MirrorWorld.h"

#include <gmock/gmock.h>

namespace orb {
namespace {

/// IO streams that begin and end as told, all of one mirror device.
class TapIOTest : public testing::Test {
  public:
    void onIOQueue(dispatch::FunctionRef<void()> action) { world.lmn().ioQueue().sync(action); }
    void begin(HandDrivenIO& stream) {
        onIOQueue([&] { stream.context().willStartIO(); });
    }
    void end(HandDrivenIO& stream) {
        onIOQueue([&] { stream.context().didStopIO(); });
    }
    bool sessionRuns() { return world.mirror().runner().isRunning(); }

    VirtualMirrorWorld world;
    HandDrivenIO first{world.mirror()};
    HandDrivenIO second{world.mirror()};
};

TEST_F(TapIOTest, theSessionStopsWithTheFirstOfTwoStreamsOrAtAnotherTimeAfterTheLast) {
    end(first); // without a beginning: counts as one
    begin(first);
    EXPECT_TRUE(sessionRuns());
    begin(second);
    end(first);
    world.run(1);
    EXPECT_TRUE(sessionRuns());
    end(second);
    world.run(0.3);
    begin(second); // puts an end to the pending stop
    world.run(1);
    EXPECT_TRUE(sessionRuns());
    end(second);
    world.run(0.3);
    end(second); // once too often: the time begins anew
    world.run(0.3499);
    EXPECT_TRUE(sessionRuns());
    world.run(0.0002);
    EXPECT_FALSE(sessionRuns());
    EXPECT_EQ(world.countLines("stopping session after debounce"), 1U);
}

TEST_F(TapIOTest, aStopOfTheSessionLeavesSoundInTheQueueOrTheRenderer) {
    world.connect({0});
    begin(first);
    for (int cycle = 0; cycle < 100; ++cycle) {
        onIOQueue([&] { first.capture(); });
        world.run(cycleSeconds);
    }
    ASSERT_FALSE(world.enqueued().empty());
    onIOQueue([&] {
        first.capture();
        second.capture();
    });
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
