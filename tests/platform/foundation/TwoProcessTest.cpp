// SPDX-License-Identifier: MIT
#include "platform/dispatch/real/RealRealm.h"
#include "platform/foundation/DistributedNotificationCenter.h"
#include "platform/foundation/JsonFile.h"
#include "platform/foundation/UserDefaults.h"
#include "tests/platform/foundation/TemporaryDirectory.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <vector>

namespace foundation {
namespace {

using namespace std::chrono_literals;

/// A `foundation_peer` that has said that it listens.
class Peer {
  public:
    explicit Peer(std::vector<std::string> arguments) {
        int ends[2];
        if (pipe(ends) != 0) {
            throw std::runtime_error("no pipe");
        }
        const FileDescriptor output(ends[0]);
        FileDescriptor input(ends[1]);
        arguments.insert(arguments.begin(), HOUSE_BIN_DIR "/foundation_peer");
        std::vector<char*> raw;
        for (std::string& argument : arguments) {
            raw.push_back(argument.data());
        }
        raw.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, input.get(), STDOUT_FILENO);
        if (posix_spawn(&process_, raw[0], &actions, nullptr, raw.data(), environ) != 0) {
            process_ = -1;
        }
        posix_spawn_file_actions_destroy(&actions);
        input.reset();
        char byte = 0;
        if (read(output.get(), &byte, 1) != 1) {
            ADD_FAILURE() << "the peer did not start";
        }
    }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;
    ~Peer() {
        if (process_ > 0) {
            kill(process_, SIGKILL);
            end();
        }
    }

    void killNow() { kill(process_, SIGKILL), end(); }

    /// Waits for its end; 0 for a good one.
    int end() {
        int status = -1;
        waitpid(std::exchange(process_, -1), &status, 0);
        return status;
    }

  private:
    pid_t process_ = -1;
};

class TwoProcessTest : public testing::Test {
  protected:
    /// Runs the main queue until somebody stops it; a failure when nobody does for long.
    void runUntilStopped() {
        bool late = false;
        const auto limit = realm.mainQueue().asyncAfter(30s, [&] {
            late = true;
            realm.stop();
        });
        realm.run();
        limit->cancel();
        EXPECT_FALSE(late) << "nothing came from the other process";
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
    dying.killNow();
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
