// SPDX-License-Identifier: MIT
#include "tests/platform/foundation/ports/PortTestWorld.h"

#include <gmock/gmock.h>

#include <map>
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
    /// Sends messages 0, 1... of `size` bytes until one is refused; how many were not.
    std::int32_t fill(RemoteMessagePort& sender, std::size_t size) {
        std::int32_t number = 0;
        while (number < 10'000 && sender.sendRequest(number, sample(number, size)) == Result::success) {
            ++number;
        }
        return number;
    }

    static std::string sample(std::int32_t number, std::size_t size) {
        std::string data(size, '\0');
        std::iota(data.begin(), data.end(), static_cast<char>(number));
        return data;
    }
};

using Worlds = testing::Types<RealWorld, VirtualWorld>;
TYPED_TEST_SUITE(MessagePortTest, Worlds);

TYPED_TEST(MessagePortTest, messagesOfEachSenderArriveOnceAndInOrder) {
    const auto port = this->makePort();
    const auto one = this->makeSender();
    const auto two = this->makeSender();
    ASSERT_TRUE(port && one && two);
    std::map<char, Messages> sent;
    for (const std::int32_t id : {0, INT32_MIN, -1, 1, INT32_MAX}) {
        for (const std::size_t size : {0, 1, 8, 65535, 65536, 65537}) {
            sent['1'].emplace_back(id, "1" + this->sample(id, size));
            sent['2'].emplace_back(id, "2" + this->sample(id, size));
            EXPECT_EQ(one->sendRequest(id, sent['1'].back().second), Result::success);
            EXPECT_EQ(two->sendRequest(id, sent['2'].back().second), Result::success);
            ASSERT_TRUE(this->runUntilArrived(sent['1'].size() + sent['2'].size()));
        }
    }
    EXPECT_EQ(one->sendRequest(5, ""), Result::success);
    ASSERT_TRUE(this->runUntilArrived(61));
    EXPECT_EQ(this->arrived.back(), (Messages::value_type{5, ""}));
    this->arrived.pop_back();
    std::map<char, Messages> sorted;
    for (const auto& message : this->arrived) {
        sorted[message.second.at(0)].push_back(message);
    }
    EXPECT_TRUE(sorted == sent);
    EXPECT_THAT(this->reports, ElementsAre());
}

TYPED_TEST(MessagePortTest, theLargestMessageArrivesWholeAndALargerOneNotAtAll) {
    const auto port = this->makePort();
    const auto sender = this->makeSender();
    const std::string largest = this->sample(1, maximumMessage);
    EXPECT_EQ(sender->sendRequest(1, largest + "x"), Result::tooLarge);
    EXPECT_EQ(sender->sendRequest(2, largest), Result::success);
    EXPECT_EQ(sender->sendRequest(3, ""), Result::sendTimeout) << "accepted before the rest of the other";
    ASSERT_TRUE(this->runUntilArrived(1));
    EXPECT_EQ(sender->sendRequest(4, "after"), Result::success);
    ASSERT_TRUE(this->runUntilArrived(2));
    EXPECT_TRUE(this->arrived == (Messages{{2, largest}, {4, "after"}}));
}

TYPED_TEST(MessagePortTest, aFullQueueRefusesAtOnceAndWhatItTookArrivesOnceInOrder) {
    for (const std::size_t size : {1, 1000, 100'000, 3'000'000}) {
        const auto port = this->makePort();
        const auto sender = this->makeSender();
        const std::int32_t accepted = this->fill(*sender, size);
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
    EXPECT_TRUE(std::filesystem::is_empty(this->ports.path()));
    EXPECT_EQ(this->makeSender(), nullptr);
    EXPECT_EQ(sending->sendRequest(1, ""), Result::isInvalid);
    EXPECT_FALSE(sending->isValid());
    EXPECT_EQ(toldSending, 0) << "told while sending";
    ASSERT_TRUE(this->world.runUntil([&] { return told > 0 && toldSending > 0; }));
    EXPECT_FALSE(sender->isValid());
    sender->setInvalidationCallback([&] { ++toldLate; });
    EXPECT_EQ(toldLate, 0) << "told while setting";
    ASSERT_TRUE(this->world.runUntil([&] { return toldLate > 0; }));
    sender->invalidate();
    sender->setInvalidationCallback([&] { ++toldLate; });
    bool settled = false;
    this->world.realm.mainQueue().async([&] { settled = true; });
    ASSERT_TRUE(this->world.runUntil([&] { return settled; }));
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

TYPED_TEST(MessagePortTest, theEndsMayLiveOnDifferentQueues) {
    dispatch::Queue& main = this->world.realm.mainQueue();
    const auto queue = this->world.realm.makeQueue("receiver");
    auto port = LocalMessagePort::create(
        *queue, this->runtime, "port",
        [&](std::int32_t id, const std::string& data) {
            main.async([this, id, data] { this->arrived.emplace_back(id, data); });
        },
        this->report);
    const auto sender = this->makeSender();
    Messages sent;
    for (std::int32_t id = 0; id < 60; ++id) {
        sent.emplace_back(id, this->sample(id, static_cast<std::size_t>(id) * 10'000));
        ASSERT_TRUE(this->world.runUntil([&] { // in real time, while the other thread makes space
            Result result = Result::sendTimeout;
            for (int attempt = 0; attempt < 1000 && result == Result::sendTimeout; ++attempt) {
                result = sender->sendRequest(id, sent.back().second);
            }
            return result == Result::success;
        }));
    }
    ASSERT_TRUE(this->runUntilArrived(sent.size()));
    EXPECT_TRUE(this->arrived == sent);
    queue->sync([&] { port.reset(); });
    EXPECT_TRUE(this->world.runUntil([&] { return !sender->isValid(); }));
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
        FileDescriptor bad = connectRaw(this->socketPath());
        ASSERT_EQ(send(bad.get(), bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
        bad.reset();
        ASSERT_TRUE(this->runUntilReported(++expected));
        EXPECT_THAT(this->reports.back(), HasSubstr("process " + std::to_string(getpid())));
    }
    connectRaw(this->socketPath()).reset(); // only looks whether somebody is there
    const FileDescriptor quiet = connectRaw(this->socketPath());
    EXPECT_EQ(good->sendRequest(1, "good"), Result::success);
    ASSERT_TRUE(this->runUntilArrived(1));
    EXPECT_THAT(this->arrived, ElementsAre(std::pair(1, "good")));
    EXPECT_EQ(this->reports.size(), expected);
}

TYPED_TEST(MessagePortTest, oneConnectionTooManyIsClosedAndItsPlaceIsFreeAgainLater) {
    const auto port = this->makePort();
    std::vector<std::shared_ptr<RemoteMessagePort>> senders;
    const auto sendFromAll = [&] {
        this->arrived.clear();
        for (const auto& sender : senders) {
            EXPECT_EQ(sender->sendRequest(1, ""), Result::success);
        }
        return this->runUntilArrived(senders.size());
    };
    for (std::size_t count = 0; count < LocalMessagePort::maximumConnections; ++count) {
        senders.push_back(this->makeSender());
    }
    ASSERT_TRUE(sendFromAll());
    const auto tooMany = this->makeSender();
    ASSERT_TRUE(this->world.runUntil([&] { return !tooMany->isValid(); }));
    EXPECT_THAT(this->reports, ElementsAre(HasSubstr("turned away")));
    senders.pop_back();
    this->arrived.clear();
    EXPECT_EQ(senders[0]->sendRequest(2, ""), Result::success);
    ASSERT_TRUE(this->runUntilArrived(1)); // by then the port has seen the end of the other
    senders.push_back(this->makeSender());
    EXPECT_TRUE(sendFromAll());
    EXPECT_EQ(this->reports.size(), 1U);
}

} // namespace
} // namespace foundation
