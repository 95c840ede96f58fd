// SPDX-License-Identifier: MIT
#include "platform/airplay/embedded/PromptRelay.h"

#include "platform/dispatch/virtual/VirtualRealm.h"
#include "platform/foundation/RuntimeDirectory.h"
#include "platform/foundation/TemporaryDirectory.h"
#include "tests/support/unixSockets.h"

#include <gmock/gmock.h>

namespace airplay {
namespace {

using namespace std::chrono_literals;
using foundation::FileDescriptor;
using testing::ElementsAre;

/// A relay, and the other side of its socket.
class PromptRelayTest : public testing::Test {
  protected:
    PromptRelayTest() { EXPECT_EQ(::listen(desk.get(), 4), 0); }
    ~PromptRelayTest() override {
        realm.mainQueue().sync([this] { relay.reset(); });
    }

    void ask(const std::string& receiver, bool wasWrong = false) {
        realm.mainQueue().sync([&] {
            relay->asked({SecretKind::code, receiver, "Kitchen", wasWrong},
                         [this, receiver](const std::optional<Secret>& secret) {
                             answers.push_back(receiver + ": " + (secret ? secret->reveal() : "dismissed"));
                         });
        });
    }

    FileDescriptor accept() const { return FileDescriptor(::accept(desk.get(), nullptr, nullptr)); }

    static std::string received(const FileDescriptor& connection) {
        char bytes[512];
        const ssize_t count = ::recv(connection.get(), bytes, sizeof bytes, 0);
        return {bytes, static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
    }

    void say(const FileDescriptor& connection, const std::string& text) {
        ::send(connection.get(), text.data(), text.size(), MSG_NOSIGNAL);
    }

    /// What sockets bring comes from outside, in real time.
    void awaitAnswers(std::size_t count) {
        const auto debt = realm.awaitOutside("answers", [this, count] { return answers.size() >= count; });
        realm.advanceBy(1ms);
    }

    foundation::TemporaryDirectory directory;
    foundation::RuntimeDirectory runtime{directory.path()};
    FileDescriptor desk = support::boundSocket(runtime.socketPath("desk"));
    dispatch::VirtualRealm realm;
    std::vector<std::string> reports;
    std::vector<std::string> answers;
    std::optional<PromptRelay> relay{std::in_place, realm.mainQueue(), directory / "desk",
                                     [this](std::string line) { reports.push_back(std::move(line)); }};
};

TEST_F(PromptRelayTest, whateverIsNoAnswerDismissesTheQuestionOnce) {
    const std::vector<std::string> lines{"{\"dismiss\":true}\n", "{\"answer\":7}\n", "nonsense\n",
                                         "{\"answer\":\"tea\"}", std::string(40000, 'x')};
    for (const std::string& line : lines) {
        ask("A1");
        FileDescriptor connection = accept();
        say(connection, line);
        realm.advanceBy(1ms);
        if (line.size() < 100) // a longer one need not come to an end
            connection.reset();
        awaitAnswers(1);
        EXPECT_THAT(answers, ElementsAre("A1: dismissed")) << line.substr(0, 20);
        answers.clear();
    }
    desk.reset();
    ask("A1");
    awaitAnswers(1);
    EXPECT_THAT(answers, ElementsAre("A1: dismissed"));
    EXPECT_EQ(reports.size(), 1U);
}

TEST_F(PromptRelayTest, aReceiverThatAsksAnewWithdrawsItsQuestionAndNoOther) {
    ask("A1");
    const FileDescriptor first = accept();
    ask("A2");
    const FileDescriptor other = accept();
    ask("A1", true);
    const FileDescriptor second = accept();
    received(first);
    EXPECT_EQ(received(first), "");
    say(first, "{\"answer\":\"late\"}\n");
    say(other, "{\"answer\":\"two\"}\n");
    awaitAnswers(1);
    say(second, "{\"answer\":\"o");
    realm.advanceBy(1ms);
    say(second, "ne\"}\nmore");
    awaitAnswers(2);
    EXPECT_THAT(answers, ElementsAre("A2: two", "A1: one"));
}

} // namespace
} // namespace airplay
