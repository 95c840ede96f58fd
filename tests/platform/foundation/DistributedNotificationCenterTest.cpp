// SPDX-License-Identifier: MIT
#include "platform/dispatch/virtual/VirtualRealm.h"
#include "platform/foundation/DistributedNotificationCenter.h"
#include "platform/foundation/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/datagram_protocol.hpp>

#include <sys/wait.h>

#include <vector>

namespace foundation {
namespace {

namespace fs = std::filesystem;
using Journal = std::vector<std::string>;
using Protocol = boost::asio::local::datagram_protocol;

class DistributedNotificationCenterTest : public testing::Test {
  protected:
    std::unique_ptr<DistributedNotificationCenter> makeCenter() {
        return std::make_unique<DistributedNotificationCenter>(
            realm.mainQueue(), runtime, [this](const std::string& line) { reports.push_back(line); });
    }

    auto noteIn(Journal& journal) {
        return [&journal](const DistributedNotification& posted) {
            journal.push_back(posted.name + " " + posted.object.value_or("-"));
        };
    }

    /// Files in the directory where centres register.
    Journal registered() {
        Journal files;
        for (const auto& entry : fs::directory_iterator(runtime.path() / "notifications")) {
            files.push_back(entry.path().filename());
        }
        return files;
    }

    Protocol::socket connectedToOnlyCenter() {
        Protocol::socket socket(io);
        const RuntimeDirectory directory = runtime.subdirectory("notifications");
        socket.connect(Protocol::endpoint(directory.socketPathOfComponent(registered().at(0))));
        return socket;
    }

    const TemporaryDirectory root;
    const RuntimeDirectory runtime{root.path()};
    dispatch::VirtualRealm realm;
    boost::asio::io_context io;
    Journal reports;
    Journal heard;
};

TEST_F(DistributedNotificationCenterTest, everyCenterHearsAPostInOrderItsSenderToo) {
    const auto here = makeCenter();
    const auto there = makeCenter();
    const auto queue = realm.makeQueue("observer");
    Journal heardHere, heardThere, heardFiltered;
    const auto all = here->observe("Name", std::nullopt, realm.mainQueue(), noteIn(heardHere));
    const auto other = here->observe("Other", std::nullopt, realm.mainQueue(), noteIn(heardHere));
    const auto far = there->observe("Name", std::nullopt, *queue, noteIn(heardThere));
    const auto filtered = there->observe("Name", "K\xC3\xBC\"che", *queue, noteIn(heardFiltered));
    Subscription ended = here->observe("Name", std::nullopt, realm.mainQueue(), noteIn(heardHere));
    auto leaving = makeCenter();
    const auto gone = leaving->observe("Name", std::nullopt, realm.mainQueue(), noteIn(heardHere));
    here->post("Name", "K\xC3\xBC\"che");
    here->post("Name", "");
    here->post("Name");
    ended.cancel();
    leaving.reset();
    EXPECT_TRUE(heardHere.empty()) << "delivered while posting";
    realm.settle();
    EXPECT_EQ(heardHere, (Journal{"Name K\xC3\xBC\"che", "Name ", "Name -"}));
    EXPECT_EQ(heardThere, heardHere);
    EXPECT_EQ(heardFiltered, (Journal{"Name K\xC3\xBC\"che"}));
    EXPECT_EQ(registered().size(), 2U) << "a centre that has gone leaves its socket";
    EXPECT_EQ(reports, Journal{});
}

TEST_F(DistributedNotificationCenterTest, aFullReceiverMissesWhatIsReportedAndOnlyThat) {
    constexpr std::size_t more = 20000; // than any kernel is set to hold
    const auto center = makeCenter();
    const auto observer = center->observe("Name", std::nullopt, realm.mainQueue(), noteIn(heard));
    std::size_t posts = 0;
    while (reports.empty() && posts < more) {
        center->post("Name");
        ++posts;
    }
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_NE(reports[0].find("full"), std::string::npos) << reports[0];
    realm.settle();
    EXPECT_EQ(heard.size(), posts - 1);
    center->post("Name", "after");
    realm.settle();
    EXPECT_EQ(heard.back(), "Name after");
}

TEST_F(DistributedNotificationCenterTest, damagedDatagramsAreDroppedReportedOnceAndDisturbNothing) {
    const auto center = makeCenter();
    const auto observer = center->observe("Name", std::nullopt, realm.mainQueue(), noteIn(heard));
    auto socket = connectedToOnlyCenter();
    const std::string good = R"({"object":"x","more":[1],"name":"Name","version":1})";
    for (const std::string& bad :
         {std::string(), good.substr(1), std::string(R"({"version":2,"name":"Name"})"),
          std::string(R"({"version":1,"name":["Name"]})"),
          good + std::string(DistributedNotificationCenter::maximumDatagram, ' ')}) {
        socket.send(boost::asio::buffer(bad));
        realm.settle();
    }
    EXPECT_EQ(heard, Journal{});
    EXPECT_EQ(reports.size(), 1U);
    socket.send(boost::asio::buffer(good));
    realm.settle();
    EXPECT_EQ(heard, Journal{"Name x"});
}

TEST_F(DistributedNotificationCenterTest, aDatagramOfAnotherUserIsDropped) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can become another user";
    }
    const auto center = makeCenter();
    const auto observer = center->observe("Name", std::nullopt, realm.mainQueue(), noteIn(heard));
    auto socket = connectedToOnlyCenter();
    const std::string_view datagram = R"({"version":1,"name":"Name"})";
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const bool sent = setresuid(65534, 65534, 65534) == 0 &&
                          send(socket.native_handle(), datagram.data(), datagram.size(), 0) > 0;
        _exit(sent ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0);
    realm.settle();
    EXPECT_EQ(heard, Journal{});
    EXPECT_EQ(reports.size(), 1U);
    socket.send(boost::asio::buffer(datagram));
    realm.settle();
    EXPECT_EQ(heard.size(), 1U);
}

} // namespace
} // namespace foundation
