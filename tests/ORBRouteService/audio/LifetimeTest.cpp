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

/// Where the last reference is dropped: on the IO, tap, runner or renderer queue.
TEST(LastReferenceTest, destroysTheDeviceElsewhereThanOnTheMainQueue) {
    using LetGo = std::function<void()>;
    const std::vector<std::function<void(VirtualMirrorWorld&, LetGo)>> places{
        [](auto& world, LetGo letGo) { world.lmn().ioQueue().sync(letGo); },
        [](auto& world, LetGo letGo) { world.mirror().tapQueue().queue().async(std::move(letGo)); },
        [](auto& world, LetGo letGo) { world.setNextCycle(std::move(letGo)); },
        [](auto& world, LetGo letGo) { world.setNextFeeding(std::move(letGo)); },
    };
    for (const auto& dropLast : places) {
        VirtualMirrorWorld world;
        const LastWords lastWords;
        world.connect({0});
        world.play(PlayerScript().sound(60 * 44100));
        world.run(1);
        world.stopCapturing();
        dropLast(world, [&world] { world.mirrorReference().reset(); });
        world.run(1);
        EXPECT_THAT(lastWords.queues(), testing::ElementsAre(&world.realm().mainQueue()));
        EXPECT_EQ(world.realm().armedTimers(), 0U);
    }
}

/// With threads: the device goes while its renderer's queue is about to begin to feed.
TEST(ThreadedDestructionTest, racesWithTheRendererQueue) {
    dispatch::RealRealm realm;
    for (int round = 0; round < 20; ++round) {
        std::unique_ptr<MirrorWorld> world;
        realm.mainQueue().async([&] {
            world = std::make_unique<MirrorWorld>(realm, MirrorWorldOptions{.chunkSize = cycleFrames});
            world->connect({0});
            HandDrivenIO(world->mirror()).run(ORBMirrorDevice::warmupCycles + 1);
            world->mirrorReference().reset();
        });
        EXPECT_TRUE(takeDown(realm, world));
    }
}

} // namespace
} // namespace orb
