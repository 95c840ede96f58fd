// SPDX-License-Identifier: MIT
#include "ORBRouteService/ORBMessagePort.h"

#include "platform/foundation/TemporaryDirectory.h"
#include "platform/lmn/LogCapture.h"
#include "tests/support/runUntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

/// Both ends of a link in real time, each with all its threads.
namespace orb::test {
namespace {

using dispatch::Task;

constexpr int messages = 30'000;

/// One end: sends numbered notices in one burst, and takes those of the other end. Everything on the main
/// queue, on the thread that calls `live`.
class BurstEnd {
  public:
    BurstEnd(const std::filesystem::path& folder, const lmn::LogCapture& log)
        : directory_(folder), log_(log) {}

    /// Until `isDone`, which is asked again and again; false when it never is.
    bool live(const char* local, const char* remote, const std::function<bool()>& isDone) {
        realm_.mainQueue().async([&] {
            port_ = ORBMessagePort::create<std::string>(
                {realm_, pool_, notifications_, directory_}, local, remote, nullptr,
                [this](std::string text) { return take(std::move(text)); });
            tasks_.spawn(burst());
        });
        const bool isInTime = support::runUntil(realm_, isDone);
        realm_.mainQueue().async([this] { tasks_.spawn(end()); });
        realm_.run();
        return isInTime;
    }

    std::atomic<int> accepted{messages + 1}; // unknown until the burst is over
    std::atomic<int> received{0};
    int disorderly = 0; // came twice, or behind a later one

  private:
    Task<> burst() {
        co_await port_->setupRemotePort();
        for (int number = 1; number <= messages; ++number)
            port_->sendMessage(std::to_string(number));
        realm_.mainQueue().async([this] {
            const auto lost = log_.count(1, port_->description() + ": message send timed out");
            accepted = messages - static_cast<int>(lost);
        });
    }

    Task<std::optional<IPCMessage>> take(std::string text) {
        realm_.mainQueue().async([this, number = std::stoi(text)] {
            ++received;
            disorderly += number <= last_ ? 1 : 0;
            last_ = number;
        });
        co_return std::nullopt;
    }

    Task<> end() {
        port_->invalidate();
        co_await pool_.drain();
        port_.reset();
        realm_.stop();
    }

    dispatch::RealRealm realm_;
    dispatch::TaskPool pool_{realm_};
    foundation::NotificationCenter notifications_;
    const foundation::RuntimeDirectory directory_;
    const lmn::LogCapture& log_;
    dispatch::TaskGroup tasks_{realm_.mainQueue()};
    std::shared_ptr<ORBMessagePort> port_;
    int last_ = 0;
};

TEST(PortThreadsTest, ofTwoBurstsThatMeetAMessageIsLostThoughAcceptedOrComesTwiceOrOutOfOrder) {
    const foundation::TemporaryDirectory folder;
    const lmn::LogCapture log;
    BurstEnd left(folder.path(), log);
    BurstEnd right(folder.path(), log);
    const auto isDone = [&] { return left.received >= right.accepted && right.received >= left.accepted; };
    std::thread other([&] { EXPECT_TRUE(right.live("right", "left", isDone)) << right.received; });
    EXPECT_TRUE(left.live("left", "right", isDone)) << left.received;
    other.join();
    for (const BurstEnd* end : {&left, &right}) {
        EXPECT_GT(end->received, 100);
        EXPECT_LE(end->received, messages);
        EXPECT_EQ(end->disorderly, 0);
    }
}

} // namespace
} // namespace orb::test
