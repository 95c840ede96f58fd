// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/audio/MirrorWorld.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <cmath>

namespace orb {
namespace {

/// The first log line that contains `part`, or "".
std::string lineWith(const MirrorWorld& world, std::string_view part) {
    for (const std::string& line : world.journal())
        if (line.find(part) != std::string::npos)
            return line;
    return "";
}

/// The number behind `key` in a line.
double numberIn(const std::string& line, const std::string& key) {
    const std::size_t at = line.find(key);
    return at == std::string::npos ? std::nan("") : std::stod(line.substr(at + key.size()));
}

/// A chunk (counted from 1) that is fed `off` seconds later than its time line wants, and what follows.
struct LateChunk {
    std::int64_t chunk;
    double off;
    bool prioritizeSync;
    bool coarse, fine;
};

TEST(LateChunkTest, isCorrectedUnaskedOrInTheMiddleOfPlayingOrToldOtherwise) {
    for (const auto& [chunk, off, prioritizeSync, coarse, fine] :
         {LateChunk{1, 1.601, false, true, false}, LateChunk{1, 1.7, true, true, true},
          LateChunk{5, 1.5, false, false, false}, LateChunk{5, 0.0201, true, false, true}}) {
        VirtualMirrorWorld world({.prioritizeSync = prioritizeSync});
        world.connect({0});
        world.play(PlayerScript().sound(60 * 44100));
        world.runCycles(ORBMirrorDevice::warmupCycles + chunk * cyclesPerChunk - 2);
        world.delayNextWake(off + cycleSeconds);
        world.run(off + 3);
        const std::string corrected = lineWith(world, "startup sync correction");
        EXPECT_EQ(world.countLines("startup sync correction"), coarse ? 1U : 0U);
        if (coarse) {
            EXPECT_NEAR(numberIn(corrected, "delta="), -off, 1e-6);
            EXPECT_NEAR(numberIn(corrected, "correction="), off, 1e-6);
            EXPECT_THAT(corrected, testing::HasSubstr("s (later), newBuffered="));
        }
        const std::string retimed = lineWith(world, "micro-retime: delta=-");
        ASSERT_EQ(!retimed.empty(), fine);
        if (fine) {
            EXPECT_NEAR(numberIn(retimed, "step="), 0.0005 * chunkSeconds, 1e-12);
            EXPECT_THAT(retimed, testing::HasSubstr("s (later), newBuffered="));
        }
    }
}

/// Latency, s; whether each chunk then runs the buffer low before the next, and how often chunks are told of.
struct Telling {
    double latency;
    std::uint32_t chunkSize;
    bool low;
    std::vector<std::size_t> feedLines; // by the second
};

class FeedLineTest : public testing::TestWithParam<Telling> {};

TEST_P(FeedLineTest, comesMoreThanOnceInAnEpisodeOrFiveSecondsOrForATinyDeviationOrSaysSomethingElse) {
    const auto& [latency, chunkSize, low, feedLines] = GetParam();
    VirtualMirrorWorld world({.latency = latency, .chunkSize = chunkSize});
    world.connect({0});
    world.play(PlayerScript().sound(60 * 44100));
    world.run(0.5);
    for (const std::size_t count : feedLines) {
        EXPECT_EQ(world.countLines("feed chunk"), count);
        world.run(1);
    }
    world.runUntilEnqueued(world.enqueued().size() + 1);
    EXPECT_EQ(world.countLines(fmt::format("s (<{}s), pending=0, rate=1.0", LogNumber{0.5 * chunkSeconds})),
              low ? world.enqueued().size() - 1 : 0U);
    const std::string line = lineWith(world, "feed chunk");
    if (line.empty())
        return;
    const double ahead = numberIn(line, "ahead=");
    EXPECT_NEAR(ahead, latency - 15 * cycleSeconds, 1e-6);
    EXPECT_EQ(line, fmt::format("feed chunk: pts={}, now={}, ahead={}s, effectiveLatency={}s, "
                                "target={}s(base={}s) rate=1.0 reported={}",
                                LogNumber{CMTimeGetSeconds(world.enqueued()[0].presentationTime)},
                                LogNumber{numberIn(line, "now=")}, LogNumber{ahead},
                                LogNumber{chunkSeconds + ahead}, LogNumber{latency}, LogNumber{latency},
                                LogNumber{world.manager().reportedLatency()}));
}

// The buffer falls to the latency plus a cycle less a chunk before the next chunk comes; half a chunk is low.
// As it is fed, a chunk lies ahead by the latency less its length and a cycle: 11.6 ms off the target. Cycles
// of 256 frames leave 5.8 ms, at a latency at which the renderer has room for so many chunks.
INSTANTIATE_TEST_SUITE_P(Latencies, FeedLineTest,
                         testing::Values(Telling{0.26, 8192, true, {1, 1, 1, 1, 1, 2, 2, 2, 2, 2, 3}},
                                         Telling{0.28, 8192, false, {1}}, Telling{1.0, 256, false, {0, 0}}));

} // namespace
} // namespace orb
