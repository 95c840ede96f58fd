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

    void ask() {
        realm.mainQueue().sync([&] {
            relay->asked({SecretKind::code, "A1", "Kitchen", false},
                         [this](const std::optional<Secret>& secret) {
                             answers.push_back(secret ? secret->reveal() : "dismissed");
                         });
        });
    }

    FileDescriptor accept() const { return FileDescriptor(::accept(desk.get(), nullptr, nullptr)); }

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

TEST_F(PromptRelayTest, whateverIsNoAnswerDismissesTheQuestionOnceAndTheLastOneAskedCounts) {
    const std::vector<std::string> lines{"{\"dismiss\":true}\n", "{\"answer\":7}\n", "nonsense\n",
                                         "{\"answer\":\"tea\"}", std::string(40000, 'x')};
    for (const std::string& line : lines) {
        ask();
        FileDescriptor connection = accept();
        say(connection, line);
        realm.advanceBy(1ms);
        if (line.size() < 100) // a longer one need not come to an end
            connection.reset();
        awaitAnswers(1);
        EXPECT_THAT(answers, ElementsAre("dismissed")) << line.substr(0, 20);
        answers.clear();
    }
    ask();
    const FileDescriptor withdrawn = accept();
    ask(); // anew
    const FileDescriptor connection = accept();
    say(withdrawn, "{\"answer\":\"late\"}\n");
    say(connection, "{\"answer\":\"o");
    realm.advanceBy(1ms);
    say(connection, "ne\"}\nmore");
    awaitAnswers(1);
    EXPECT_THAT(answers, ElementsAre("one"));
    answers.clear();
    desk.reset();
    ask();
    awaitAnswers(1);
    EXPECT_THAT(answers, ElementsAre("dismissed"));
    EXPECT_EQ(reports.size(), 1U);
}

} // namespace
} // namespace airplay
