// SPDX-License-Identifier: MIT
#include "tests/platform/foundation/ports/PortTestWorld.h"

#include <numeric>

/// What ports promise between two ends in one process, over both realms.
namespace foundation {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Result = RemoteMessagePort::SendResult;

template <typename World>
class MessagePortTest : public PortTest<World> {
  public:
    static std::string sample(std::int32_t number, std::size_t size) {
        std::string data(size, '\0');
        std::iota(data.begin(), data.end(), static_cast<char>(number));
        return data;
    }
};

using Worlds = testing::Types<RealWorld, VirtualWorld>;
TYPED_TEST_SUITE(MessagePortTest, Worlds);

TYPED_TEST(MessagePortTest, aFullQueueRefusesAtOnceAndWhatItTookArrivesOnceInOrder) {
    for (const std::size_t size : {1, 1000, 100'000, 3'000'000}) {
        const auto port = this->makePort();
        const auto sender = this->makeSender();
        std::int32_t accepted = 0;
        while (accepted < 10'000 &&
               sender->sendRequest(accepted, this->sample(accepted, size)) == Result::success)
            ++accepted;
        ASSERT_GT(accepted, 0);
        ASSERT_LT(accepted, 10'000) << "never full";
        EXPECT_EQ(sender->sendRequest(-1, std::string(size, 'x')), Result::sendTimeout);
        ASSERT_TRUE(this->runUntilArrived(static_cast<std::size_t>(accepted)));
        EXPECT_EQ(sender->sendRequest(accepted, this->sample(accepted, size)), Result::success);
        ASSERT_TRUE(this->runUntilArrived(static_cast<std::size_t>(accepted) + 1));
        for (std::int32_t number = 0; number <= accepted; ++number) {
            const auto& [id, data] = this->arrived.at(static_cast<std::size_t>(number));
            ASSERT_EQ(id, number);
            ASSERT_TRUE(data == this->sample(number, size)) << "message " << number << " is damaged";
        }
        EXPECT_EQ(this->arrived.size(), static_cast<std::size_t>(accepted) + 1);
        this->arrived.clear();
    }
}

TYPED_TEST(MessagePortTest, theEndOfThePortIsToldOnceAndLaterButNotAfterInvalidating) {
    auto port = this->makePort();
    const auto sender = this->makeSender();
    const auto sending = this->makeSender();
    const auto invalidated = this->makeSender();
    int told = 0, toldSending = 0, toldInvalidated = 0, toldLate = 0;
    sender->setInvalidationCallback([&] { ++told; });
    sending->setInvalidationCallback([&] { ++toldSending; });
    invalidated->setInvalidationCallback([&] { ++toldInvalidated; });
    invalidated->invalidate();
    EXPECT_EQ(invalidated->sendRequest(1, ""), Result::isInvalid);
    port.reset();
    EXPECT_EQ(this->makeSender(), nullptr);
    EXPECT_EQ(sending->sendRequest(1, ""), Result::isInvalid);
    EXPECT_EQ(toldSending, 0) << "told while sending";
    ASSERT_TRUE(this->world.runUntil([&] { return told > 0 && toldSending > 0; }));
    sender->setInvalidationCallback([&] { ++toldLate; });
    EXPECT_EQ(toldLate, 0) << "told while setting";
    ASSERT_TRUE(this->world.runUntil([&] { return toldLate > 0; }));
    sender->invalidate();
    EXPECT_THAT((std::vector{told, toldSending, toldInvalidated, toldLate}), ElementsAre(1, 1, 0, 1));
    EXPECT_THAT(this->reports, ElementsAre());
}

TYPED_TEST(MessagePortTest, bothEndsMayBeDroppedByTheirOwnCalls) {
    int callouts = 0;
    std::unique_ptr<LocalMessagePort> port = LocalMessagePort::create(
        this->world.realm.mainQueue(), this->runtime, "port",
        [&](auto, const auto&) {
            ++callouts;
            port.reset();
        },
        this->report);
    auto sender = this->makeSender();
    for (const std::int32_t id : {1, 2, 3}) {
        EXPECT_EQ(sender->sendRequest(id, "x"), Result::success);
    }
    sender->setInvalidationCallback([&] { sender.reset(); });
    ASSERT_TRUE(this->world.runUntil([&] { return sender == nullptr; }));
    EXPECT_EQ(callouts, 1);
    EXPECT_NE(this->makePort(), nullptr) << "the name is still taken";
    EXPECT_THAT(this->reports, ElementsAre());
}

TYPED_TEST(MessagePortTest, aSenderThatMisbehavesIsReportedAndHarmsNobody) {
    const auto port = this->makePort();
    const auto good = this->makeSender();
    const std::string preface(messagePreface);
    std::size_t expected = 0;
    for (const std::string& bytes :
         {std::string("GET / HTTP/1.1\r\n"), preface + messageHeader(1, maximumMessage + 1),
          preface.substr(0, 3), preface + messageHeader(1, 5).substr(0, 7),
          preface + messageHeader(1, 5) + "four"}) {
        FileDescriptor bad = support::connectedSocket(this->socketPath());
        ASSERT_EQ(send(bad.get(), bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
        bad.reset();
        ASSERT_TRUE(this->runUntilReported(++expected));
        EXPECT_THAT(this->reports.back(), HasSubstr("process " + std::to_string(getpid())));
    }
    support::connectedSocket(this->socketPath()).reset(); // only looks whether somebody is there
    const FileDescriptor quiet = support::connectedSocket(this->socketPath());
    EXPECT_EQ(good->sendRequest(1, "good"), Result::success);
    ASSERT_TRUE(this->runUntilArrived(1));
    EXPECT_THAT(this->arrived, ElementsAre(std::pair(1, "good")));
    EXPECT_EQ(this->reports.size(), expected);
}

TYPED_TEST(MessagePortTest, oneConnectionTooManyIsClosedAndItsPlaceIsFreeAgainLater) {
    const auto port = this->makePort();
    std::vector<std::shared_ptr<RemoteMessagePort>> senders;
    for (std::size_t count = 0; count < LocalMessagePort::maximumConnections; ++count)
        senders.push_back(this->makeSender());
    const auto tooMany = this->makeSender();
    ASSERT_TRUE(this->world.runUntil([&] { return !tooMany->isValid(); }));
    EXPECT_THAT(this->reports, ElementsAre(HasSubstr("turned away")));
    senders.pop_back();
    EXPECT_EQ(senders[0]->sendRequest(1, ""), Result::success);
    ASSERT_TRUE(this->runUntilArrived(1)); // by then the port has seen the end of the other
    senders.push_back(this->makeSender());
    for (const auto& sender : senders)
        EXPECT_EQ(sender->sendRequest(2, ""), Result::success);
    EXPECT_TRUE(this->runUntilArrived(1 + senders.size()));
    EXPECT_EQ(this->reports.size(), 1U);
}

} // namespace
} // namespace foundation
