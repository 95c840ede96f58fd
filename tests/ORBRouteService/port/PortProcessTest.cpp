// SPDX-License-Identifier: MIT
#include "platform/foundation/DescriptorWatch.h"
#include "tests/ORBRouteService/port/PortEnd.h"
#include "tests/platform/foundation/TemporaryDirectory.h"
#include "tests/support/PeerProcess.h"

#include <gtest/gtest.h>

#include <unistd.h>

/// The link between processes, in real time: what dies, stands still or comes late is a real process.
namespace orb::test {
namespace {

using namespace std::chrono_literals;

/// A port_peer, which has said that its port is open.
class Peer : public support::PeerProcess {
  public:
    enum class Start { awaited, notAwaited };

    Peer(const std::filesystem::path& folder, const char* local, const char* remote,
         Start start = Start::awaited)
        : PeerProcess({HOUSE_BIN_DIR "/port_peer", folder, local, remote}) {
        if (start == Start::awaited) {
            EXPECT_EQ(line(), "open");
        }
    }

    /// How many of a burst it could send, as it said.
    std::size_t accepted() {
        std::size_t count = 0;
        const std::string said = line();
        EXPECT_EQ(std::sscanf(said.c_str(), "accepted %zu", &count), 1) << said;
        return count;
    }
};

/// This process is the service, the peers are parents.
class PortProcessTest : public testing::Test {
  protected:
    Task<> keepOutcome(Task<std::string> task, std::string& outcome) {
        outcome = co_await std::move(task);
        end.changed();
    }
    void start(Task<std::string> task, std::string& outcome) {
        auto keeping = keepOutcome(std::move(task), outcome);
        end.realm.mainQueue().async(
            [this, keeping = std::move(keeping)]() mutable { end.tasks.spawn(std::move(keeping)); });
    }
    std::string outcomeOf(Task<std::string> task) {
        std::string outcome;
        start(std::move(task), outcome);
        EXPECT_TRUE(end.runUntil([&] { return !outcome.empty(); }));
        return outcome;
    }

    /// The peer's next line; our own end works on meanwhile.
    std::string runUntilLine(Peer& peer) {
        std::optional<std::string> line;
        const foundation::DescriptorWatch heard(end.realm.mainQueue(),
                                                foundation::FileDescriptor(dup(peer.descriptor())), [&](int) {
                                                    if (!line && peer.hasLine()) {
                                                        line = peer.line();
                                                        end.changed();
                                                    }
                                                });
        EXPECT_TRUE(end.runUntil([&] { return line.has_value(); }));
        return line.value_or("");
    }

    std::string ask(const std::string& text) { return outcomeOf(end.ask(text)); }
    std::string answerTo(Peer& peer, const std::string& order) {
        peer.order(order);
        return runUntilLine(peer);
    }

    void link(Peer& peer) {
        EXPECT_EQ(outcomeOf(end.connect()), "connected");
        EXPECT_EQ(answerTo(peer, "connect"), "connected");
    }

    void expectAll(const std::string& sender, std::size_t accepted) {
        EXPECT_TRUE(end.runUntil([&] { return end.tallies[sender].received >= accepted; }))
            << end.tallies[sender].received << " of " << accepted << " came";
    }

    const foundation::TemporaryDirectory folder;
    PortEnd end{folder.path(), "service", "parent"};
};

TEST_F(PortProcessTest, requestsAreAnsweredBothWaysWhileBothAreUnderWay) {
    Peer peer(folder.path(), "parent", "service");
    link(peer);
    for (const char* const text : {"one", "two", "three"}) {
        peer.order(std::string("ask ") + text);
        EXPECT_EQ(ask(text), std::string("answer to ") + text);
        EXPECT_EQ(runUntilLine(peer), std::string("answer to ") + text);
    }
}

TEST_F(PortProcessTest, aKilledParentIsNoticedWithinATenthOfASecondOnceAndItsNameTakenOverAtOnce) {
    Peer first(folder.path(), "parent", "service");
    link(first);
    const dispatch::HostTime killed = end.realm.clock().now();
    first.kill();
    ASSERT_TRUE(end.runUntil([this] { return end.disconnections > 0; }));
    EXPECT_LT(end.disconnectedAt - killed, 100ms);

    Peer second(folder.path(), "parent", "service");
    link(second);
    EXPECT_EQ(ask("are you there?"), "answer to are you there?");
    EXPECT_EQ(answerTo(second, "ask you?"), "answer to you?");
    EXPECT_EQ(end.disconnections, 1);
    EXPECT_EQ(first.end(), 128 + SIGKILL);
}

/// From when the parent says that its port is open; it may have been found before.
TEST_F(PortProcessTest, aParentThatStartsLaterIsFoundAtTheNextLook) {
    constexpr auto scheduling = 150ms; // of two processes on a busy machine, with sanitizers
    std::string outcome;
    start(end.connect(), outcome);
    Peer peer(folder.path(), "parent", "service", Peer::Start::notAwaited);
    EXPECT_EQ(runUntilLine(peer), "open");
    const dispatch::HostTime opened = end.realm.clock().now();
    ASSERT_TRUE(end.runUntil([&] { return !outcome.empty(); }));
    EXPECT_LT(end.realm.clock().now() - opened, ORBMessagePort::remotePortInterval + scheduling);
    EXPECT_EQ(outcome, "connected");
}

TEST_F(PortProcessTest, aNameInUseIsLeftToItsOwner) {
    Peer owner(folder.path(), "parent", "service");
    Peer second(folder.path(), "parent", "service", Peer::Start::notAwaited);
    EXPECT_EQ(second.line(), "deaf");
    link(owner);
    EXPECT_EQ(ask("who?"), "answer to who?");
    second.kill();
    EXPECT_EQ(second.end(), 128 + SIGKILL);
    EXPECT_EQ(ask("still?"), "answer to still?");
}

/// The peer is resumed only when all has been sent; a send that waited for it would wait for ever.
TEST_F(PortProcessTest, aStoppedParentHoldsUpNothingAndThenGetsWhatWasAccepted) {
    constexpr int messages = 3000;
    Peer peer(folder.path(), "parent", "service");
    link(peer);
    peer.suspend();
    bool allSent = false;
    end.realm.mainQueue().async([&] {
        end.burst("us", messages, 1000);
        end.realm.mainQueue().async([&] {
            allSent = true;
            end.changed();
        });
    });
    ASSERT_TRUE(end.runUntil([&] { return allSent; }));
    const std::size_t accepted = messages - end.lost();
    EXPECT_GT(end.lost(), 0U);
    EXPECT_GT(accepted, 100U);
    EXPECT_EQ(end.log.count(1, "<ORBMessagePort service -> parent>: message send timed out"), end.lost());

    peer.resume();
    const std::string all = fmt::format("received {0} disorderly 0 last {1}", accepted, accepted - 1);
    peer.order(fmt::format("await us {}", accepted));
    EXPECT_EQ(runUntilLine(peer), all);
    EXPECT_EQ(ask("awake?"), "answer to awake?"); // behind all others
    EXPECT_EQ(answerTo(peer, "await us 0"), all) << "some came twice";
    EXPECT_EQ(end.disconnections, 0);
}

TEST_F(PortProcessTest, ofAHundredThousandInABurstAllThatWereAcceptedArriveOnceAndInOrder) {
    Peer peer(folder.path(), "parent", "service");
    link(peer);
    peer.order("burst peer 100000 0");
    const std::size_t accepted = peer.accepted();
    EXPECT_GT(accepted, 100U);
    expectAll("peer", accepted);
    EXPECT_EQ(answerTo(peer, "ask last"), "answer to last"); // behind all others
    EXPECT_EQ(end.tallies["peer"].received, accepted);
    EXPECT_EQ(end.tallies["peer"].disorderly, 0U);
}

TEST_F(PortProcessTest, twoSendersAtOnceKeepEachItsOrder) {
    Peer left(folder.path(), "left", "service");
    Peer right(folder.path(), "right", "service");
    for (Peer* const peer : {&left, &right}) {
        EXPECT_EQ(answerTo(*peer, "connect"), "connected");
    }
    left.order("burst left 10000 0");
    right.order("burst right 10000 0");
    const std::size_t ofLeft = left.accepted();
    const std::size_t ofRight = right.accepted();
    expectAll("left", ofLeft);
    expectAll("right", ofRight);
    for (const auto& [sender, tally] : end.tallies) {
        EXPECT_EQ(tally.disorderly, 0U) << sender;
        EXPECT_EQ(tally.received, sender == "left" ? ofLeft : ofRight) << sender;
    }
}

} // namespace
} // namespace orb::test
