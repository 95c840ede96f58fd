// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/audio/MirrorWorld.h"
#include "tests/platform/coremedia/CountingAllocator.h"

#include <gtest/gtest.h>

namespace orb {
namespace {

/// Which of a chunk's four requests fails, and what is said of it. The format has taken one before.
TEST(ShortageTest, costsMoreThanTheChunkOrIsNotReportedOrMovesWhatFollowsOrLeaks) {
    for (const auto& [request, line] :
         {std::pair(0, "Error creating empty CMBlockBuffer (-"),
          std::pair(1, "Error creating CMBlockBuffer with memory block (-"),
          std::pair(2, "Error creating CMBlockBuffer with memory block (-"), std::pair(3, "")}) {
        coremedia::CountingAllocator allocator(1 + 20 * 4 + static_cast<std::size_t>(request));
        {
            VirtualMirrorWorld world({.allocator = &allocator});
            world.connect({0, 1});
            world.play(PlayerScript().sound(60 * 44100));
            world.run(8);
            EXPECT_EQ(world.countLines("Error creating"), *line == 0 ? 0U : 1U);
            EXPECT_GT(world.countLines(line), 0U);
            const auto heard = stretchesOf(world.heard());
            ASSERT_EQ(heard.size(), 2U);
            EXPECT_EQ(heard[1].number, heard[0].last() + chunkFrames + 1);
            EXPECT_EQ(heard[1].at, heard[0].at + heard[0].frames + chunkFrames);
        }
        EXPECT_EQ(allocator.liveBytes(), 0U);
    }
}

} // namespace
} // namespace orb
