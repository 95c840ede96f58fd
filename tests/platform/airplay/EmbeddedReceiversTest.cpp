// SPDX-License-Identifier: MIT
#include "platform/airplay/embedded/EmbeddedReceivers.h"

#include "platform/dispatch/virtual/VirtualRealm.h"
#include "platform/foundation/TemporaryDirectory.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace airplay {
namespace {

using namespace std::chrono_literals;
using Journal = std::vector<std::string>;

TEST(EmbeddedReceiversTest, aDamagedFileChangesNothingAndIsReportedOnce) {
    constexpr const char* good =
        R"({{"version":1,"receivers":[{}{{"name":"Hall","id":"00:00:00:00:00:0B"}}]}})";
    const foundation::TemporaryDirectory directory;
    const std::filesystem::path path = directory / "r.json";
    dispatch::VirtualRealm realm;
    const auto write = [&](const std::string& text) {
        foundation::writeFile(path, text);
        realm.advanceBy(1s);
    };
    write(fmt::format(good, R"({"name":"Kitchen","id":"00:00:00:00:00:0A"},)"));
    Journal reports;
    Journal journal;
    EmbeddedReceivers receivers(
        path, {.mainQueue = realm.mainQueue(), .report = [&](const auto& line) { reports.push_back(line); }});
    std::unique_ptr<Discovery::Search> search;
    realm.mainQueue().sync([&] {
        search = receivers.search([&](const Discovery::Receivers& inSight) {
            std::string& names = journal.emplace_back();
            for (const auto& receiver : inSight)
                names += receiver->description()->name + " ";
        });
    });
    write("{");
    std::filesystem::remove(path);
    realm.advanceBy(1s);
    ASSERT_EQ(reports.size(), 2U);
    EXPECT_TRUE(reports[0].starts_with(path.string() + ":1:")) << reports[0];
    EXPECT_TRUE(reports[1].starts_with(path.string() + ": there is no such file")) << reports[1];
    EXPECT_EQ(journal, Journal{"Kitchen Hall "});
    write(fmt::format(good, ""));
    EXPECT_EQ(journal, (Journal{"Kitchen Hall ", "Hall "}));
    EXPECT_EQ(reports.size(), 2U);
    realm.mainQueue().sync([&] { search.reset(); });
    EXPECT_EQ(realm.armedTimers(), 0U);
}

} // namespace
} // namespace airplay
