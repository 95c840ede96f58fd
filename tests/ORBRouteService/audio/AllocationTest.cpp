// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/audio/ThreadedMirrorWorld.h"
#include "tests/support/AllocationCounter.h"

#include <gmock/gmock.h>

namespace orb {
namespace {

/// Keeps nothing, so that lines are formatted and handed over, and nobody else allocates for them.
class DroppedLog final : public lmn::LMNLogTarget {
  public:
    void write(lmn::LMNLogLevel, std::string_view) noexcept override {}

  private:
    const lmn::LMNLogInstallation installation_{*this};
};

/// Allocations of tap callbacks, and of IO cycles but those that complete a chunk, which come on their own.
struct Allocations {
    std::vector<std::uint64_t> none;
    std::vector<std::uint64_t> chunk;
};

/// Drives a mirror device's IO by hand; with threads, as virtual time hands work over by other means.
class HandDrivenIO {
  public:
    explicit HandDrivenIO(ORBMirrorDevice& mirror)
        : mirror_(mirror), context_(mirror.createIOContext(mirror.deviceTap(), mirror.deviceTap().config())) {
        std::fill_n(buffer_.samples(), 2 * cycleFrames, 0.5F);
    }

    void silence() { buffer_.mute(); }

    /// The chunk that is gathered begins with the next cycle.
    void beginChunk() { gathered_ = 0; }

    void run(std::int64_t cycles, Allocations& allocations) {
        for (std::int64_t cycle = 0; cycle < cycles; ++cycle) {
            const std::uint64_t before = support::allocationsOfThisThread();
            context_->processIO(buffer_);
            const std::uint64_t between = support::allocationsOfThisThread();
            mirror_.performIOCycle(mirror_.runner(), 0);
            const std::uint64_t after = support::allocationsOfThisThread();
            allocations.none.push_back(between - before);
            const bool completes = ++gathered_ % cyclesPerChunk == 0;
            (completes ? allocations.chunk : allocations.none).push_back(after - between);
        }
    }

  private:
    ORBMirrorDevice& mirror_;
    const std::shared_ptr<lmn::LMNTapIOContext> context_;
    lmn::LMNBuffer buffer_{2, cycleFrames, rate};
    std::int64_t gathered_ = 0;
};

/// The empty block buffer, the full one, its bytes, and the sample buffer.
constexpr std::uint64_t perChunk = 4;

TEST(AllocationTest, aTapCallbackOrAnIOCycleAllocatesMoreThanAChunksSampleBuffer) {
    dispatch::RealRealm realm;
    std::unique_ptr<MirrorWorld> world;
    Allocations warmUp, steady, resynchronising, silent;
    realm.mainQueue().async([&] {
        world = std::make_unique<MirrorWorld>(realm);
        const DroppedLog log;
        world->connect({0});
        HandDrivenIO io(world->mirror());
        io.run(ORBMirrorDevice::warmupCycles, warmUp);
        io.beginChunk();
        io.run(4 * cyclesPerChunk, steady);
        world->mirror().resetRendererState(ORBMirrorDevice::Flush::yes, "by hand");
        io.beginChunk();
        io.run(2 * cyclesPerChunk, resynchronising);
        io.silence();
        io.run(400, silent); // to the stop and beyond
        world->mirror().stop("the end");
        realm.stop();
    });
    realm.run();
    for (const Allocations* part : {&warmUp, &steady, &resynchronising, &silent})
        EXPECT_THAT(part->none, testing::Each(0U));
    EXPECT_THAT(steady.chunk, testing::ElementsAre(perChunk, perChunk, perChunk, perChunk));
    EXPECT_THAT(resynchronising.chunk, testing::ElementsAre(perChunk, perChunk));
    EXPECT_TRUE(takeDown(realm, world));
}

} // namespace
} // namespace orb
