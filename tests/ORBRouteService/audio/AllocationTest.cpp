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

/// Drives IO; with threads, as virtual time hands work over by other means.
void run(HandDrivenIO& io, std::int64_t cycles, Allocations& allocations) {
    for (std::int64_t cycle = 1; cycle <= cycles; ++cycle) {
        const std::uint64_t before = support::allocationsOfThisThread();
        io.capture();
        const std::uint64_t between = support::allocationsOfThisThread();
        io.render();
        const std::uint64_t after = support::allocationsOfThisThread();
        allocations.none.push_back(between - before);
        (cycle % cyclesPerChunk == 0 ? allocations.chunk : allocations.none).push_back(after - between);
    }
}

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
        run(io, ORBMirrorDevice::warmupCycles, warmUp);
        run(io, 4 * cyclesPerChunk, steady);
        world->mirror().resetRendererState(ORBMirrorDevice::Flush::yes, "by hand");
        run(io, 2 * cyclesPerChunk, resynchronising);
        io.silence();
        run(io, 400, silent); // to the stop and beyond
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
