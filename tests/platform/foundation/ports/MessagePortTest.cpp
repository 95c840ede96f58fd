// SPDX-License-Identifier: MIT
#include "tests/platform/foundation/ports/PortTestWorld.h"

/// What ports promise between two ends in one process.
namespace foundation {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Result = RemoteMessagePort::SendResult;

using MessagePortTest = PortTest;

TEST_F(MessagePortTest, bothEndsMayBeDroppedByTheirOwnCalls) {
    int callouts = 0;
    std::unique_ptr<LocalMessagePort> port = LocalMessagePort::create(
        realm.mainQueue(), runtime, "port",
        [&](auto, const auto&) {
            ++callouts;
            port.reset();
        },
        report);
    auto sender = makeSender();
    for (const std::int32_t id : {1, 2, 3}) {
        EXPECT_EQ(sender->sendRequest(id, "x"), Result::success);
    }
    sender->setInvalidationCallback([&] { sender.reset(); });
    ASSERT_TRUE(runUntil([&] { return sender == nullptr; }));
    EXPECT_EQ(callouts, 1);
    EXPECT_NE(makePort(), nullptr) << "the name is still taken";
    EXPECT_THAT(reports, ElementsAre());
}

TEST_F(MessagePortTest, aSenderThatMisbehavesIsReportedAndHarmsNobody) {
    const auto port = makePort();
    const auto good = makeSender();
    const std::string preface(messagePreface);
    std::size_t expected = 0;
    for (const std::string& bytes :
         {std::string("GET / HTTP/1.1\r\n"), preface + messageHeader(1, maximumMessage + 1),
          preface.substr(0, 3), preface + messageHeader(1, 5).substr(0, 7),
          preface + messageHeader(1, 5) + "four"}) {
        FileDescriptor bad = support::connectedSocket(socketPath());
        ASSERT_EQ(send(bad.get(), bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
        bad.reset();
        ++expected;
        ASSERT_TRUE(runUntil([&] { return reports.size() >= expected; }));
        EXPECT_THAT(reports.back(), HasSubstr("process " + std::to_string(getpid())));
    }
    support::connectedSocket(socketPath()).reset(); // only looks whether somebody is there
    const FileDescriptor quiet = support::connectedSocket(socketPath());
    const std::string largest(maximumMessage, 'x');
    EXPECT_EQ(good->sendRequest(-2, largest), Result::success);
    ASSERT_TRUE(runUntilArrived(1));
    EXPECT_TRUE(arrived == (Messages{{-2, largest}}));
    EXPECT_EQ(reports.size(), expected);
}

TEST_F(MessagePortTest, oneConnectionTooManyIsClosedAndItsPlaceIsFreeAgainLater) {
    const auto port = makePort();
    std::vector<std::shared_ptr<RemoteMessagePort>> senders;
    for (std::size_t count = 0; count < LocalMessagePort::maximumConnections; ++count)
        senders.push_back(makeSender());
    const auto tooMany = makeSender();
    ASSERT_TRUE(runUntil([&] { return !tooMany->isValid(); }));
    EXPECT_THAT(reports, ElementsAre(HasSubstr("turned away")));
    senders.pop_back();
    EXPECT_EQ(senders[0]->sendRequest(1, ""), Result::success);
    ASSERT_TRUE(runUntilArrived(1)); // by then the port has seen the end of the other
    senders.push_back(makeSender());
    for (const auto& sender : senders)
        EXPECT_EQ(sender->sendRequest(2, ""), Result::success);
    EXPECT_TRUE(runUntilArrived(1 + senders.size()));
    EXPECT_EQ(reports.size(), 1U);
}

} // namespace
} // namespace foundation
