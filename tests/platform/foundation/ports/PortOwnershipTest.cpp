// SPDX-License-Identifier: MIT
#include "tests/platform/foundation/ports/PortTestWorld.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <array>
#include <csignal>

/// Who has a name, and who may reach it, when other processes come into it.
namespace foundation {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using Result = RemoteMessagePort::SendResult;

constexpr uid_t otherUser = 65534;

using PortOwnershipTest = PortTest;

/// A copy of this process that runs `work`, whose result is its exit status. Killed at the end.
class Child {
  public:
    explicit Child(const std::function<int()>& work) : process_(fork()) {
        if (process_ == 0) {
            _exit(work());
        }
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child() {
        if (process_ > 0) {
            kill(process_, SIGKILL);
            end();
        }
    }

    /// Waits for its end: its exit status, -1 for a bad end.
    int end() {
        int status = -1;
        waitpid(std::exchange(process_, -1), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

  private:
    pid_t process_;
};

struct Pipe {
    Pipe() {
        std::array<int, 2> ends{};
        EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
        out = FileDescriptor(ends[0]);
        in = FileDescriptor(ends[1]);
    }

    void put(std::int32_t value) const { EXPECT_EQ(write(in.get(), &value, sizeof value), 4); }

    /// Waits for the next value; -1 when there will be none.
    std::int32_t get() const {
        std::int32_t value = -1;
        return read(out.get(), &value, sizeof value) == sizeof value ? value : -1;
    }

    FileDescriptor out, in;
};

TEST_F(PortOwnershipTest, ofManyThatClaimTheNameOfADeadOwnerAtOnceOneGetsIt) {
    constexpr int claimants = 4;
    for (int round = 0; round < 15; ++round) {
        const Pipe told;
        Pipe start;
        std::array<std::unique_ptr<Child>, claimants> children;
        for (auto& child : children) {
            child = std::make_unique<Child>([&] {
                start.in.reset();
                start.get();
                const auto port = makePort();
                told.put(port != nullptr ? 1 : 0);
                pause(); // until it is killed, so that the name is not given back
                return 0;
            });
        }
        start.in.reset();
        int owners = 0;
        for (int number = 0; number < claimants; ++number) {
            owners += told.get();
        }
        EXPECT_EQ(owners, 1) << "round " << round;
    }
}

TEST_F(PortOwnershipTest, anOwnerThatAcceptsNobodyIsNotTakenForDead) {
    const FileDescriptor owner = support::boundSocket(socketPath());
    ASSERT_EQ(listen(owner.get(), 1), 0);
    std::vector<FileDescriptor> waiting;
    do
        waiting.push_back(support::connectedSocket(socketPath()));
    while (waiting.back() && waiting.size() < 1000);
    EXPECT_EQ(makePort(), nullptr);
    EXPECT_EQ(makeSender(), nullptr);
    EXPECT_THAT(reports, ElementsAre(HasSubstr("in use"), HasSubstr("too many")));
    EXPECT_TRUE(fs::exists(ports.path() / "port"));
}

TEST_F(PortOwnershipTest, whatIsPlantedInPlaceOfASocketIsNeitherFollowedNorRemoved) {
    const auto elsewhere = makePort("elsewhere");
    fs::create_symlink("elsewhere", ports.path() / "link");
    fs::create_symlink("missing", ports.path() / "dangling");
    writeFile(ports.path() / "file", "kept");
    std::size_t expected = 0;
    for (const std::string name : {"link", "dangling", "file"}) {
        const auto planted = fs::symlink_status(ports.path() / name).type();
        EXPECT_EQ(makePort(name), nullptr) << name;
        EXPECT_EQ(makeSender(name), nullptr) << name;
        expected += 2;
        EXPECT_EQ(reports.size(), expected);
        EXPECT_EQ(fs::symlink_status(ports.path() / name).type(), planted) << name;
    }
    EXPECT_FALSE(fs::exists(ports.path() / "missing"));
}

TEST_F(PortOwnershipTest, aPortRemovesNoSocketButItsOwn) {
    auto first = makePort();
    fs::remove(ports.path() / "port");
    const auto second = makePort();
    ASSERT_NE(second, nullptr);
    first.reset();
    const auto sender = makeSender();
    ASSERT_NE(sender, nullptr);
    EXPECT_EQ(sender->sendRequest(1, ""), Result::success);
    EXPECT_TRUE(runUntilArrived(1));
}

class OtherUserTest : public PortOwnershipTest {
  protected:
    void SetUp() override {
        if (geteuid() != 0)
            GTEST_SKIP() << "only root can become another user";
    }

    static bool becomeOther() { return setresuid(otherUser, otherUser, otherUser) == 0; }
};

TEST_F(OtherUserTest, isTurnedAwayWhereTheFileSystemLetItIn) {
    const auto port = makePort();
    const FileDescriptor file(openat(ports.descriptor(), "port", O_PATH | O_NOFOLLOW | O_CLOEXEC));
    fs::permissions(ports.path() / "port", fs::perms::all);
    Child other([&] {
        if (!becomeOther()) {
            return 1;
        }
        const FileDescriptor socket = support::connectedSocket("/proc/self/fd/" + std::to_string(file.get()));
        const std::string bytes = std::string(messagePreface) + messageHeader(1, 0);
        return socket && send(socket.get(), bytes.data(), bytes.size(), 0) > 0 ? 0 : 2;
    });
    ASSERT_EQ(other.end(), 0) << "the check of the user was not reached";
    const auto sender = makeSender();
    EXPECT_EQ(sender->sendRequest(2, "mine"), Result::success);
    ASSERT_TRUE(runUntilArrived(1));
    EXPECT_THAT(arrived, ElementsAre(std::pair(2, "mine")));
    EXPECT_THAT(reports, ElementsAre(HasSubstr("of user 65534")));
}

TEST_F(OtherUserTest, getsNoMessagesWhenItServesAPlaceItWasGiven) {
    const Pipe told;
    Child other([&] {
        const FileDescriptor socket = support::boundSocket(socketPath());
        const bool serves = socket && becomeOther() && listen(socket.get(), 8) == 0;
        told.put(serves ? 0 : -1);
        pause();
        return 0;
    });
    ASSERT_EQ(told.get(), 0);
    EXPECT_EQ(makeSender(), nullptr);
    EXPECT_THAT(reports, ElementsAre(HasSubstr("of user 65534")));
}

} // namespace
} // namespace foundation
