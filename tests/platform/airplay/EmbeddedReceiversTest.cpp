// SPDX-License-Identifier: MIT
#include "platform/airplay/embedded/EmbeddedReceivers.h"

#include "platform/dispatch/virtual/VirtualRealm.h"
#include "tests/platform/airplay/Recordings.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace airplay {
namespace {

using namespace std::chrono_literals;
using Journal = std::vector<std::string>;

constexpr const char* kitchen = R"({"name":"Kitchen","id":"00:00:00:00:00:0A"})";
constexpr const char* hall = R"({"name":"Hall","id":"00:00:00:00:00:0B","discoveryDelay":2})";
constexpr const char* corridor = R"({"name":"Corridor","id":"00:00:00:00:00:0B","discoveryDelay":2})";
constexpr const char* attic = R"({"name":"Attic","id":"00:00:00:00:00:0C","discoveryDelay":60})";
constexpr const char* ghost = R"({"name":"Ghost","id":"00:00:00:00:00:0D","outcome":"vanishes"})";

class EmbeddedReceiversTest : public testing::Test, public ReceiverConnectionDelegate {
  public:
    EmbeddedReceiversTest() {
        write({kitchen, hall, attic});
        receivers.emplace(path, surroundings());
    }

    EmbeddedReceiver::Surroundings surroundings() {
        return {.mainQueue = main, .report = [this](const auto& line) { reports.push_back(line); }};
    }

    void write(const std::vector<std::string>& entries) {
        foundation::writeFile(path,
                              fmt::format(R"({{"version":1,"receivers":[{}]}})", fmt::join(entries, ",")));
        realm.settle();
    }

    void search() {
        running = receivers->search([this](const Discovery::Receivers& inSight) {
            Journal names;
            for (const auto& receiver : inSight) {
                names.push_back(receiver->description()->name);
            }
            note(fmt::format("{}", fmt::join(names, " ")));
            if (inSight.empty()) {
                running.reset();
            }
        });
        note("search");
    }

    void note(const std::string& what) {
        journal.push_back(fmt::format("{}: {}", dispatch::toSeconds(realm.clock().now() - start), what));
    }

    void secretWanted(SecretKind) override { note("asks"); }
    void connected(std::shared_ptr<Receiver> as) override { note(as->description()->name + " connected"); }
    void refused() override { note("refused"); }
    void lost() override { note("lost"); }

    void connect(std::string_view identifier) {
        main.sync([&] { connection = receivers->receiver(identifier)->connect(*this); });
        realm.settle();
    }

    const foundation::TemporaryDirectory directory;
    std::filesystem::path path = directory / "r.json";
    dispatch::VirtualRealm realm;
    dispatch::Queue& main = realm.mainQueue();
    const dispatch::HostTime start = realm.clock().now();
    Journal reports;
    Journal journal;
    std::optional<EmbeddedReceivers> receivers;
    std::unique_ptr<Discovery::Search> running;
    std::unique_ptr<ReceiverConnection> connection;
};

TEST_F(EmbeddedReceiversTest, aSearchTellsWhatTheEditedFileHoldsInItsOrderAndItsTime) {
    main.sync([&] { search(); });
    realm.advanceBy(3s);
    write({attic, kitchen, corridor});
    realm.advanceBy(1s);
    write({corridor});
    realm.advanceBy(1s);
    write({attic, kitchen, corridor, ghost});
    realm.advanceBy(1s);
    connect("00:00:00:00:00:0D");
    realm.advanceBy(1s);
    write({attic, kitchen, ghost});
    realm.advanceBy(93s);
    write({attic, kitchen, hall}); // its time has passed
    realm.advanceBy(1s);
    write({});
    realm.advanceBy(1s);
    write({kitchen});
    EXPECT_EQ(journal, (Journal{"0: search", "0: Kitchen", "2: Kitchen Hall", "3: Kitchen Corridor",
                                "4: Corridor", "5: Kitchen Corridor Ghost", "6: lost", "6: Kitchen Corridor",
                                "7: Kitchen", "60: Attic Kitchen", "100: Attic Kitchen Hall", "101: "}));
    EXPECT_TRUE(reports.empty());
    main.sync([&] { connection.reset(); });
    EXPECT_EQ(realm.armedTimers(), 0U);
}

TEST_F(EmbeddedReceiversTest, aDamagedFileChangesNothingAndIsReportedOnce) {
    main.sync([&] { search(); });
    connect("00:00:00:00:00:0A");
    realm.advanceBy(3s);
    write({kitchen, "{"});
    realm.advanceBy(1s);
    std::filesystem::remove(path);
    realm.advanceBy(1s);
    ASSERT_EQ(reports.size(), 2U);
    EXPECT_TRUE(reports[0].starts_with(path.string() + ":1:")) << reports[0];
    EXPECT_TRUE(reports[1].starts_with(path.string() + ": there is no such file")) << reports[1];
    write({corridor});
    EXPECT_EQ(journal, (Journal{"0: search", "0: Kitchen", "0: Kitchen connected", "2: Kitchen Hall",
                                "5: lost", "5: Corridor"}));
    EXPECT_EQ(reports.size(), 2U);
    main.sync([&] { connection.reset(), running.reset(); });
}

} // namespace
} // namespace airplay
