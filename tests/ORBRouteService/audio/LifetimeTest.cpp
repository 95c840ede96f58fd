// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/audio/ThreadedMirrorWorld.h"

#include <gmock/gmock.h>

namespace orb {
namespace {

/// Notes on which queue a mirror device says its last.
class LastWords final : public lmn::LMNLogTarget {
  public:
    void write(lmn::LMNLogLevel, std::string_view text) noexcept override {
        if (text.find("ORBMirrorDevice deinit") == std::string_view::npos)
            return;
        const dispatch::LockGuard guard(lock_);
        queues_.push_back(dispatch::Queue::current());
    }

    std::vector<dispatch::Queue*> queues() const {
        const dispatch::LockGuard guard(lock_);
        return queues_;
    }

  private:
    mutable dispatch::Lock lock_;
    std::vector<dispatch::Queue*> queues_ ORB_GUARDED_BY(lock_);
    const lmn::LMNLogInstallation installation_{*this};
};

/// Seconds after the player has begun at which the mirror device goes. It plays for four seconds.
class DestructionTest : public testing::TestWithParam<double> {};

TEST_P(DestructionTest, leavesATimerOrATaskOrATapBehind) {
    VirtualMirrorWorld world;
    LastWords lastWords;
    world.connect({0});
    world.play(PlayerScript().sound(4 * 44100));
    world.run(GetParam());
    world.stopCapturing();
    world.onMain([&] { world.mirrorReference().reset(); });
    EXPECT_THAT(lastWords.queues(), testing::ElementsAre(&world.realm().mainQueue()));
    world.realm().settle();
    const std::size_t chunks = world.enqueued().size();
    world.run(1);
    EXPECT_EQ(world.realm().armedTimers(), 0U);
    EXPECT_EQ(world.enqueued().size(), chunks);
}

// Before all sound; in the warm-up; while the feeding loop waits; between two cycles of its wait; with the
// change of the processes not yet quiet; with the IO in its lead-out; with the session to be stopped; when
// all is over.
INSTANTIATE_TEST_SUITE_P(Moments, DestructionTest,
                         testing::Values(0.0, 0.05, 1.0, 1.0011, 4.15, 5.0, 7.2, 20.0));

/// Where the last reference is dropped: on the IO, tap, runner or renderer queue.
class LastReferenceTest : public testing::TestWithParam<int> {};

TEST_P(LastReferenceTest, destroysTheDeviceElsewhereThanOnTheMainQueue) {
    VirtualMirrorWorld world;
    LastWords lastWords;
    world.connect({0});
    world.play(PlayerScript().sound(60 * 44100));
    world.run(1);
    world.stopCapturing();
    const auto letGo = [&world] { world.mirrorReference().reset(); };
    switch (GetParam()) {
        case 0:
            world.lmn().ioQueue().sync([&] { letGo(); });
            break;
        case 1:
            world.mirror().tapQueue().queue().async(letGo);
            break;
        case 2:
            world.setNextCycle(letGo);
            break;
        default:
            world.setNextFeeding(letGo);
    }
    world.run(1);
    EXPECT_THAT(lastWords.queues(), testing::ElementsAre(&world.realm().mainQueue()));
    EXPECT_EQ(world.realm().armedTimers(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Queues, LastReferenceTest, testing::Range(0, 4));

TEST(StopTest, leavesCaptureOrSessionOrSoundRunning) {
    VirtualMirrorWorld world;
    world.connect({0});
    world.play(PlayerScript().sound(60 * 44100));
    world.run(5);
    world.stopCapturing();
    world.onMain([&] { world.mirror().stop("enough"); });
    world.run(1);
    EXPECT_FALSE(world.mirror().running());
    EXPECT_FALSE(world.mirror().runner().isRunning());
    EXPECT_EQ(world.mirror().syncronizer().rate(), 0.0F);
    EXPECT_EQ(world.tapActivity().activeIOCount(), 0);
    EXPECT_EQ(world.realm().armedTimers(), 0U);
}

/// With threads: the device goes while its renderer's queue is about to begin to feed.
TEST(ThreadedDestructionTest, racesWithTheRendererQueue) {
    dispatch::RealRealm realm;
    for (int round = 0; round < 20; ++round) {
        std::unique_ptr<MirrorWorld> world;
        realm.mainQueue().async([&] {
            world = std::make_unique<MirrorWorld>(realm, MirrorWorldOptions{.chunkSize = cycleFrames});
            world->connect({0});
            ORBMirrorDevice& mirror = world->mirror();
            const auto context = mirror.createIOContext(mirror.deviceTap(), mirror.deviceTap().config());
            lmn::LMNBuffer buffer(2, cycleFrames, rate);
            std::fill_n(buffer.samples(), 2 * cycleFrames, 0.5F);
            for (int cycle = 0; cycle <= ORBMirrorDevice::warmupCycles; ++cycle) {
                context->processIO(buffer);
                mirror.performIOCycle(mirror.runner(), 0);
            }
            world->mirrorReference().reset();
        });
        EXPECT_TRUE(takeDown(realm, world));
    }
}

} // namespace
} // namespace orb
