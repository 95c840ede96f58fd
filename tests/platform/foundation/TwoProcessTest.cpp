// SPDX-License-Identifier: MIT
#include "platform/dispatch/real/RealRealm.h"
#include "platform/foundation/DistributedNotificationCenter.h"
#include "platform/foundation/JsonFile.h"
#include "platform/foundation/UserDefaults.h"
#include "tests/platform/foundation/TemporaryDirectory.h"
#include "tests/support/PeerProcess.h"
#include "tests/support/runUntilStopped.h"

#include <csignal>
#include <utility>
#include <vector>

namespace foundation {
namespace {

using namespace std::chrono_literals;

/// A `foundation_peer` that has said that it listens.
class Peer : public support::PeerProcess {
  public:
    explicit Peer(std::vector<std::string> arguments) : PeerProcess(command(std::move(arguments))) {
        EXPECT_EQ(line(), "ready");
    }

  private:
    static std::vector<std::string> command(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), HOUSE_BIN_DIR "/foundation_peer");
        return arguments;
    }
};

class TwoProcessTest : public testing::Test {
  protected:
    /// Runs the main queue until somebody stops it; a failure when nobody does for long.
    void runUntilStopped() {
        EXPECT_TRUE(support::runUntilStopped(realm)) << "nothing came from the other process";
    }

    const TemporaryDirectory root;
    dispatch::RealRealm realm;
    NotificationCenter center;
    std::function<void(std::string)> report = [](const std::string& line) { ADD_FAILURE() << line; };
    UserDefaults defaults{SuiteName::parse("suite").value(),
                          {realm.mainQueue(), center, root.path(), report}};
    DistributedNotificationCenter distributed{realm.mainQueue(), RuntimeDirectory(root.path()), report};
};

TEST_F(TwoProcessTest, notificationsGoThereAndBackAndADeadProcessIsForgotten) {
    Peer peer({"echo", root.path()});
    Peer dying({"echo", root.path()});
    dying.kill();
    EXPECT_EQ(dying.end(), 128 + SIGKILL);
    std::vector<std::string> heard;
    const auto pong =
        distributed.observe("Pong", std::nullopt, realm.mainQueue(), [&](const auto& notification) {
            heard.push_back(notification.object.value_or("-"));
            if (heard.size() == 3) {
                realm.stop();
            }
        });
    for (const auto* object : {"1", "2", "3"}) {
        distributed.post("Ping", object);
    }
    runUntilStopped();
    EXPECT_EQ(heard, (std::vector<std::string>{"1", "2", "3"}));
    const auto registered = std::filesystem::directory_iterator(root / "notifications");
    EXPECT_EQ(std::distance(registered, {}), 2) << "the dead socket is still there";
    distributed.post("Quit");
    EXPECT_EQ(peer.end(), 0);
}

TEST_F(TwoProcessTest, aChangedPreferenceIsNoticedThereAndItsAnswerHere) {
    Peer peer({"echo", root.path()});
    const auto answered =
        center.observe(userDefaultsDidChangeNotification, &defaults, nullptr, [&](const Notification&) {
            if (defaults.integerForKey("answer") == 42) {
                realm.stop();
            }
        });
    defaults.setInteger("question", 42);
    runUntilStopped();
    distributed.post("Quit");
    EXPECT_EQ(peer.end(), 0);
}

TEST_F(TwoProcessTest, processesThatWriteDifferentKeysAtOnceLoseNothing) {
    constexpr int count = 40;
    Peer one({"write", root.path(), "one", std::to_string(count)});
    Peer two({"write", root.path(), "two", std::to_string(count)});
    for (int number = 0; number < count; ++number) {
        defaults.setInteger("here" + std::to_string(number), number);
    }
    EXPECT_EQ(one.end(), 0);
    EXPECT_EQ(two.end(), 0);
    const auto content = JsonFile(defaults.file()).read();
    ASSERT_TRUE(content);
    EXPECT_EQ(content->as_object().size(), 3U * count);
}

} // namespace
} // namespace foundation
