// SPDX-License-Identifier: MIT
#include "ORBRouteService/ORBMessagePort.h"
#include "ORBRouteService/picker/waiting/awaitCondition.h"

#include "platform/dispatch/real/RealRealm.h"
#include "platform/foundation/TemporaryDirectory.h"
#include "platform/lmn/LogCapture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

/// Both ends of a link in real time, each with all its threads.
namespace orb::test {
namespace {

using namespace std::chrono_literals;
using dispatch::Task;

constexpr int messages = 30'000;

/// One end: sends numbered notices in one burst and then a request, and does the same for the other end.
/// Everything on the main queue, on the thread that calls `live`.
class BurstEnd {
  public:
    BurstEnd(const std::filesystem::path& folder, std::string local, std::string remote)
        : directory_(folder), local_(std::move(local)), remote_(std::move(remote)) {}

    /// `answered` counts the ends whose request was answered; the link lives until both were.
    void live(std::atomic<int>& answered) {
        realm_.mainQueue().async([&] {
            port_ = ORBMessagePort::create<std::string>(
                {realm_, pool_, notifications_, directory_}, local_, remote_, nullptr,
                [this](std::string text) { return answer(std::move(text)); });
            description = port_->description();
            tasks_.spawn(run(answered));
        });
        realm_.run();
    }

    std::string description;
    std::string outcome;
    int received = 0;
    int disorderly = 0; // came twice, or behind a later one

  private:
    Task<> run(std::atomic<int>& answered) {
        try {
            co_await port_->setupRemotePort();
            for (int number = 1; number <= messages; ++number)
                port_->sendMessage(std::to_string(number));
            outcome = co_await ask();
        } catch (const std::exception& error) {
            outcome = error.what();
        }
        ++answered;
        const std::function<Task<bool>()> isAlone = [&answered]() -> Task<bool> { co_return answered < 2; };
        const WaitLimits limits{30s, 0.01s, "end()"};
        co_await awaitCondition(limits, isAlone);
        port_->invalidate();
        co_await pool_.drain();
        port_.reset();
        realm_.stop();
    }

    /// The queue may be full of notices still: a request that was dropped is sent again.
    Task<std::string> ask() {
        const std::optional<dispatch::Seconds> timeout(1);
        for (int attempt = 0; attempt < 20; ++attempt) {
            try {
                const std::string request = "request";
                co_return co_await port_->sendMessage<std::string>(request, timeout);
            } catch (const ORBMessagePortError&) {
                continue;
            }
        }
        co_return "nothing";
    }

    Task<std::optional<IPCMessage>> answer(std::string text) {
        if (text == "request")
            co_return IPCMessage::wrapping("answer to " + text);
        realm_.mainQueue().async([this, number = std::stoi(text)] {
            ++received;
            disorderly += number <= last_ ? 1 : 0;
            last_ = number;
        });
        co_return std::nullopt;
    }

    dispatch::RealRealm realm_;
    dispatch::TaskPool pool_{realm_};
    foundation::NotificationCenter notifications_;
    const foundation::RuntimeDirectory directory_;
    const std::string local_;
    const std::string remote_;
    dispatch::TaskGroup tasks_{realm_.mainQueue()};
    std::shared_ptr<ORBMessagePort> port_;
    int last_ = 0;
};

TEST(PortThreadsTest, ofTwoBurstsThatMeetAMessageIsLostThoughAcceptedOrComesTwiceOrOutOfOrder) {
    const foundation::TemporaryDirectory folder;
    const lmn::LogCapture log;
    std::atomic<int> answered{0};
    BurstEnd left(folder.path(), "left", "right");
    BurstEnd right(folder.path(), "right", "left");
    std::thread other([&] { right.live(answered); });
    left.live(answered);
    other.join();
    for (const auto& [from, to] : {std::pair(&left, &right), std::pair(&right, &left)}) {
        EXPECT_EQ(from->outcome, "answer to request");
        const auto lost = log.count(1, from->description + ": message send timed out");
        EXPECT_GE(to->received, messages - static_cast<int>(lost)) << lost << " found the queue full";
        EXPECT_LE(to->received, messages);
        EXPECT_GT(to->received, 100);
        EXPECT_EQ(to->disorderly, 0);
    }
}

} // namespace
} // namespace orb::test
