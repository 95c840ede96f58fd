// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/port/PortWorld.h"

#include <gmock/gmock.h>

/// How the link is set up, breaks, fills and is taken down.
namespace orb::test {
namespace {

using testing::SizeIs;

const ORBAppToServiceMessage update;

class ConnectionTest : public PortTest {
  public:
    void startSetUp() {
        onMain([this] { tasks.spawn(setUp()); });
        realm.settle();
    }

    template <typename Payload>
    std::string send(const Payload& payload) {
        std::string outcome = "sent";
        onMain([&] {
            try {
                port->sendMessage(payload);
            } catch (const std::exception& error) {
                outcome = error.what();
            }
        });
        realm.settle();
        return outcome;
    }
};

TEST_F(ConnectionTest, theParentIsFoundWithinATenthOfASecondOfItsPort) {
    EXPECT_EQ(send(update), "noRemoteConnection");
    startSetUp();
    realm.advanceBy(5s - 1ns);
    parent.open();
    realm.advanceBy(1ns);
    EXPECT_EQ(setUpOutcome, "done");
    EXPECT_EQ(send(update), "sent");
    EXPECT_THAT(parent.received, SizeIs(1));
}

TEST_F(ConnectionTest, aSetUpWaitsThirtySecondsOrUntilItsInvalidation) {
    startSetUp();
    realm.advanceBy(30s - 1ns);
    EXPECT_EQ(setUpOutcome, "under way");
    realm.advanceBy(1ns);
    EXPECT_EQ(setUpOutcome, "The operation “setupRemotePort()” timed out.");
    startSetUp();
    onMain([this] { port->invalidate(); });
    realm.advanceBy(100ms);
    EXPECT_EQ(setUpOutcome, "done");
    EXPECT_FALSE(port->hasRemotePort());
}

TEST_F(ConnectionTest, aNameInUseLeavesThePortDeafAndSaysSo) {
    std::shared_ptr<ORBMessagePort> owner = port;
    onMain([&] {
        port = ORBMessagePort::create<ORBAppToServiceMessage>({realm, pool, notifications, directory},
                                                              "service", "nobody", nullptr, nullptr);
    });
    EXPECT_FALSE(port->hasLocalPort());
    EXPECT_EQ(log.count(4, "service"), 1U);
    startSetUp();
    EXPECT_EQ(setUpOutcome, "noRemoteConnection");
    onMain([&] { port = std::move(owner); });
}

TEST_F(ConnectionTest, aLostParentIsToldOnceAndWhatIsSentThenOrAfterwardsIsDropped) {
    connect();
    startAsking();
    onMain([this] {
        port->sendMessage(update);
        parent.close();
    });
    realm.settle();
    EXPECT_EQ(disconnections, 1);
    EXPECT_EQ(send(update), "sent");
    EXPECT_EQ(requests.running(), 1U) << "requests stay pending";
    parent.open();
    realm.advanceBy(10s);
    EXPECT_EQ(disconnections, 1);
}

TEST_F(ConnectionTest, anInvalidatedPortComesBackByItsNextSetUp) {
    connect();
    onMain([this] { port->invalidate(); });
    EXPECT_FALSE(port->hasLocalPort());
    parent.close();
    realm.settle();
    EXPECT_EQ(disconnections, 0);
    EXPECT_EQ(send(update), "noRemoteConnection");
    EXPECT_TRUE(port->hasLocalPort());
    onMain([this] { port->invalidate(); });

    parent.open();
    startSetUp();
    EXPECT_EQ(setUpOutcome, "done");
    EXPECT_EQ(send(update), "sent");
    EXPECT_THAT(parent.received, SizeIs(1));
}

TEST_F(ConnectionTest, whatIsTooLargeIsToldInTheLogAndNotSent) {
    connect();
    EXPECT_EQ(send(std::string(17 << 20, 'x')), "sent");
    EXPECT_EQ(log.count(4, "is too large, not sent"), 1U);
    EXPECT_THAT(parent.received, SizeIs(0));
}

} // namespace
} // namespace orb::test
