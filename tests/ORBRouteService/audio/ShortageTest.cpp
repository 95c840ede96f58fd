// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/audio/MirrorWorld.h"

#include <gtest/gtest.h>

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
class ShortageTest : public testing::TestWithParam<std::pair<std::int64_t, const char*>> {};

TEST_P(ShortageTest, costsMoreThanTheChunkOrIsNotReportedOrOutlastsItsEnd) {
    const auto& [request, line] = GetParam();
    ScarceAllocator allocator;
    VirtualMirrorWorld world({.allocator = &allocator});
    world.connect({0, 1});
    world.play(PlayerScript().sound(60 * 44100));
    world.runUntilEnqueued(20);
    allocator.failAfter(request, 1);
    world.run(8);
    EXPECT_EQ(world.countLines("Error creating"), *line == 0 ? 0U : 1U);
    EXPECT_GT(world.countLines(line), 0U);
    auto heard = stretchesOf(world.heard());
    ASSERT_EQ(heard.size(), 2U);
    EXPECT_EQ(heard[1].number, heard[0].last() + chunkFrames + 1);
    EXPECT_EQ(heard[1].at, heard[0].at + heard[0].frames + chunkFrames);
    EXPECT_EQ(world.heard(0), world.heard(1));

    allocator.failAfter(0, std::numeric_limits<std::int64_t>::max());
    world.run(5);
    const std::size_t chunks = world.enqueued().size();
    EXPECT_EQ(stretchesOf(world.heard()).size(), 2U);
    allocator.failAfter(0, 0);
    world.run(5);
    EXPECT_GT(world.enqueued().size(), chunks);
    heard = stretchesOf(world.heard());
    ASSERT_EQ(heard.size(), 3U);
    EXPECT_EQ(heard[2].at - heard[2].number, heard[0].at - heard[0].number)
        << "it comes back at another time";
}

INSTANTIATE_TEST_SUITE_P(Requests, ShortageTest,
                         testing::Values(std::pair(0, "Error creating empty CMBlockBuffer (-"),
                                         std::pair(1, "Error creating CMBlockBuffer with memory block (-"),
                                         std::pair(2, "Error creating CMBlockBuffer with memory block (-"),
                                         std::pair(3, "")));

} // namespace
} // namespace orb
