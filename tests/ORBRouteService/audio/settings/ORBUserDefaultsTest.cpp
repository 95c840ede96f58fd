// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/audio/settings/SettingsFixture.h"

#include <gmock/gmock.h>

namespace orb {
namespace {

using ORBUserDefaultsTest = SettingsFixture;

TEST_F(ORBUserDefaultsTest, damagedOrWrongContentEndsInDefaultsALineThatNamesItAndAnUntouchedFile) {
    struct Row {
        std::string content;
        std::vector<const char*> named; // one line each
    };
    for (const Row& row : {
             Row{"", {"damaged"}},
             Row{"[0.5]", {"damaged"}},
             Row{R"({"_renderLatency": "nan"})", {"_renderLatency"}},
             Row{R"({"_renderLatency": 1e999})", {"_renderLatency"}},
             Row{R"({"_renderLatency": null, "_renderChunkSize": {}, "prioritizeSync": "perhaps",
                     "legacyGroupedAirPlay": []})",
                 {"_renderLatency", "_renderChunkSize", "prioritizeSync", "legacyGroupedAirPlay"}},
         }) {
        store(row.content);
        reports.clear();
        const auto process = start();
        EXPECT_EQ(process->manager->renderLatency(), 2.0);
        EXPECT_FALSE(process->manager->prioritizeSync());
        EXPECT_FALSE(process->manager->legacyGroupedAirPlay());
        EXPECT_EQ(process->manager->renderChunkSize(), 8192U);
        EXPECT_EQ(foundation::readFile(file), row.content);
        EXPECT_EQ(reports.size(), row.named.size()) << row.content;
        for (const char* name : row.named)
            EXPECT_THAT(reports, testing::Contains(testing::AllOf(testing::HasSubstr(ORBUserDefaults::suite),
                                                                  testing::HasSubstr(name))));
        EXPECT_EQ(told(), 0);
    }
}

TEST_F(ORBUserDefaultsTest, aDamagedFileIsSetAsideByTheFirstChange) {
    store("{damaged");
    const auto process = start();
    process->manager->setRenderLatency(0.5);
    EXPECT_EQ(told(), 1);
    EXPECT_EQ(stored(), boost::json::parse(R"({"_renderLatency": 0.5})"));
    EXPECT_EQ(foundation::readFile(file.string() + ".damaged-1"), "{damaged");
}

} // namespace
} // namespace orb
