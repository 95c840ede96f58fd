// SPDX-License-Identifier: MIT
#include "platform/coremedia/OSStatus.h"
#include "tests/ORBRouteService/audio/MirrorWorld.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <cmath>
#include <limits>

namespace orb {
namespace {

/// The process heap, which has nothing for as many requests as told, after as many as told.
class ScarceAllocator final : public coremedia::CMAllocator {
  public:
    void failAfter(std::int64_t grants, std::int64_t failures) {
        grants_ = grants;
        failures_ = failures;
    }

    void* allocate(std::size_t size, std::size_t alignment) noexcept override {
        if (failures_ > 0 && grants_-- <= 0) {
            --failures_;
            return nullptr;
        }
        return coremedia::defaultAllocator().allocate(size, alignment);
    }

    void deallocate(void* memory, std::size_t size, std::size_t alignment) noexcept override {
        coremedia::defaultAllocator().deallocate(memory, size, alignment);
    }

  private:
    std::int64_t grants_ = 0;
    std::int64_t failures_ = 0;
};

/// Which of a chunk's four requests fails, and what is said of it.
struct Shortage {
    std::int64_t request;
    std::string line;
};

class ChunkShortageTest : public testing::TestWithParam<Shortage> {};

TEST_P(ChunkShortageTest, costsMoreThanTheChunkOrIsNotReported) {
    ScarceAllocator allocator;
    VirtualMirrorWorld world({.allocator = &allocator});
    world.connect({0, 1});
    world.play(PlayerScript().sound(60 * 44100));
    world.runUntilEnqueued(20);
    const std::size_t lines = world.log().lines().size();
    allocator.failAfter(GetParam().request, 1);
    world.run(8);
    auto journal = world.journal(lines);
    std::erase_if(journal, [](const std::string& line) { return line.starts_with("feed chunk"); });
    EXPECT_EQ(journal, GetParam().line.empty() ? std::vector<std::string>{} : std::vector{GetParam().line});

    const auto heard = stretchesOf(world.heard());
    ASSERT_EQ(heard.size(), 2U);
    EXPECT_EQ(heard[1].number, heard[0].last() + chunkFrames + 1);
    EXPECT_EQ(heard[1].at, heard[0].at + heard[0].frames + chunkFrames);
    EXPECT_EQ(world.heard(0), world.heard(1));
}

INSTANTIATE_TEST_SUITE_P(
    Requests, ChunkShortageTest,
    testing::Values(Shortage{0, fmt::format("Error creating empty CMBlockBuffer ({})",
                                            coremedia::kCMBlockBufferStructureAllocationFailedErr)},
                    Shortage{1, fmt::format("Error creating CMBlockBuffer with memory block ({})",
                                            coremedia::kCMBlockBufferStructureAllocationFailedErr)},
                    Shortage{2, fmt::format("Error creating CMBlockBuffer with memory block ({})",
                                            coremedia::kCMBlockBufferBlockAllocationFailedErr)},
                    Shortage{3, ""}));

TEST(ShortageTest, thatLastsEndsTheDeviceOrLeavesItSilentAfterwards) {
    ScarceAllocator allocator;
    VirtualMirrorWorld world({.allocator = &allocator});
    world.connect({0});
    world.play(PlayerScript().sound(60 * 44100));
    allocator.failAfter(0, std::numeric_limits<std::int64_t>::max());
    world.run(5);
    EXPECT_TRUE(world.enqueued().empty());
    EXPECT_GT(world.countLines("Error creating empty CMBlockBuffer"), 20U);
    allocator.failAfter(0, 0);
    world.run(5);
    const auto heard = stretchesOf(world.heard());
    const auto played = stretchesOf(world.captured());
    ASSERT_EQ(heard.size(), 1U);
    EXPECT_EQ(heard[0].at - played[0].at - 2 * 44100, heard[0].number - played[0].number);
}

TEST(ShortageTest, ofTheFormatIsNotReportedOrStopsTheCycles) {
    ScarceAllocator allocator;
    allocator.failAfter(0, 1);
    VirtualMirrorWorld world({.allocator = &allocator});
    EXPECT_EQ(world.countLines("ORBMirrorDevice: Failed to create audio format description ("), 1U);
    world.connect({0});
    world.play(PlayerScript().sound(44100).silence(60 * 44100));
    world.runCycles(ORBMirrorDevice::warmupCycles + 3 * cyclesPerChunk);
    EXPECT_EQ(world.countLines("ORBMirrorDevice: No audioFormatDescription available for enqueue"), 3U);
    EXPECT_EQ(world.mirror().syncronizer().rate(), 1.0F);
    world.run(8);
    EXPECT_TRUE(world.enqueued().empty());
    EXPECT_EQ(world.countLines("silent stop: silentAndStopped=false"), 1U);
}

/// A latency as set, and as used.
struct Latency {
    double set;
    double used;
    std::string warning;
};

class LatencyRangeTest : public testing::TestWithParam<Latency> {};

TEST_P(LatencyRangeTest, isNotKeptWithinWhatCanBeRenderedOrNotReported) {
    const auto& [set, used, warning] = GetParam();
    VirtualMirrorWorld world({.latency = set});
    auto journal = world.journal();
    std::erase_if(journal, [](const std::string& line) { return !line.starts_with("ORBMirrorDevice"); });
    std::vector<std::string> expected;
    if (!warning.empty())
        expected.push_back("ORBMirrorDevice: " + warning);
    expected.push_back(
        fmt::format("ORBMirrorDevice init: frames=8192 rate=44100.0 syncLatency={}", LogNumber{used}));
    EXPECT_EQ(journal, expected);

    world.connect({0});
    world.play(PlayerScript().sound(100 * 44100));
    world.run(used + 5);
    const auto heard = stretchesOf(world.heard());
    const auto played = stretchesOf(world.captured());
    ASSERT_FALSE(world.enqueued().empty());
    const double first = CMTimeGetSeconds(world.enqueued()[0].presentationTime);
    EXPECT_NEAR(first, 9 * cycleSeconds + std::max(used, 0.0), 1e-8);
    if (used < chunkSeconds) { // a chunk has passed when it is complete, but for its last cycle
        for (const Stretch& stretch : heard)
            EXPECT_LE(stretch.frames, cycleFrames);
        return;
    }
    ASSERT_EQ(heard.size(), 1U);
    EXPECT_EQ(heard[0].at, played[0].at + warmupFrames + std::llround(used * rate));
    EXPECT_GT(heard[0].frames, 4 * 44100);
    EXPECT_EQ(world.countLines("the renderer takes no chunks"), 0U);
}

const std::string tooSmall =
    "a latency of {} s is not above the {} s of a chunk: sound comes too late to be heard";
const std::string unusable = "a latency of {} s cannot be used, {} s is";

std::string warningOf(const std::string& text, double set, double used) {
    return fmt::format(fmt::runtime(text), LogNumber{set}, LogNumber{used});
}

INSTANTIATE_TEST_SUITE_P(
    Latencies, LatencyRangeTest,
    testing::Values(Latency{0, 0, warningOf(tooSmall, 0, chunkSeconds)},
                    Latency{-1, -1, warningOf(tooSmall, -1, chunkSeconds)}, Latency{0.25, 0.25, ""},
                    Latency{30, 30, ""}, Latency{1e9, 30, warningOf(unusable, 1e9, 30)},
                    Latency{std::numeric_limits<double>::infinity(), 30,
                            warningOf(unusable, std::numeric_limits<double>::infinity(), 30)},
                    Latency{std::nan(""), 2, warningOf(unusable, std::nan(""), 2)}));

} // namespace
} // namespace orb
