// SPDX-License-Identifier: MIT
#include "tests/orbctl/commands/OrbctlRun.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>

namespace orbctl::test {
namespace {

using testing::HasSubstr;
using testing::Not;

/// `orbctl` at a terminal, played by the test.
class AtTerminal {
  public:
    AtTerminal(std::vector<std::string> command, std::vector<std::string> environment) {
        int master = -1;
        process_ = ::forkpty(&master, nullptr, nullptr, nullptr);
        if (process_ == 0) {
            for (std::string& variable : environment)
                ::putenv(variable.data());
            std::vector<char*> words;
            for (std::string& word : command)
                words.push_back(word.data());
            words.push_back(nullptr);
            ::execv(words[0], words.data());
            ::_exit(127);
        }
        terminal_ = foundation::FileDescriptor(master);
    }
    ~AtTerminal() { ::kill(process_, SIGKILL); }
    AtTerminal(const AtTerminal&) = delete;
    AtTerminal& operator=(const AtTerminal&) = delete;

    /// Reads until the text has come, or, for an empty one, to the end.
    void await(const std::string& text) {
        pollfd waited{.fd = terminal_.get(), .events = POLLIN, .revents = 0};
        const auto limit = std::chrono::milliseconds(support::PeerProcess::patience);
        while (text.empty() || shown.find(text, seen_) == std::string::npos) {
            char bytes[4096];
            const ssize_t count = ::poll(&waited, 1, static_cast<int>(limit.count())) == 1
                                      ? ::read(terminal_.get(), bytes, sizeof bytes)
                                      : 0;
            if (count <= 0) {
                EXPECT_TRUE(text.empty()) << "never shown: " << text;
                return;
            }
            shown.append(bytes, static_cast<std::size_t>(count));
        }
        seen_ = shown.find(text, seen_) + text.size();
    }

    void type(const std::string& text) {
        EXPECT_EQ(::write(terminal_.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    bool echoes() const {
        termios state{};
        EXPECT_EQ(::tcgetattr(terminal_.get(), &state), 0);
        return (state.c_lflag & ECHO) != 0;
    }

    int end() {
        int status = 0;
        ::waitpid(process_, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    std::string shown;

  private:
    foundation::FileDescriptor terminal_;
    pid_t process_ = -1;
    std::size_t seen_ = 0;
};

class PlayTest : public OrbctlTest {
  protected:
    std::vector<std::string> play(const std::vector<std::string>& added) const {
        std::vector<std::string> arguments{"play", file("tone.wav"), "--latency", "0.3", "--json"};
        arguments.insert(arguments.end(), added.begin(), added.end());
        return arguments;
    }
};

TEST_F(PlayTest, severalJobsHearTheWholeSoundAndLeaveEverythingAsItWas) {
    auto process = start(play({"--to", "Kitchen", "--to", "Attic", "--volume", "0.5", "--report",
                               file("report.html"), "--log", file("log")}));
    EXPECT_EQ(eventOf(process, "end").at("status"), 0);
    EXPECT_EQ(process.end(), 0);
    for (const char* const recording : {"kitchen.wav", "hall.wav", "attic.wav"}) {
        EXPECT_TRUE(holdsTone(recording)) << recording;
    }
    auto volume = start({"volume", "--to", "Kitchen", "--json"});
    EXPECT_THAT(volume.line(), HasSubstr("5E-1"));
    auto settings = start({"settings", "latency"});
    EXPECT_EQ(settings.line(), "2");
    EXPECT_THAT(foundation::readFile(file("log")), HasSubstr("Service launched"));
    EXPECT_GT(std::filesystem::file_size(file("report.html")), 10000U);
    EXPECT_TRUE(std::filesystem::exists(file("report.2.html")));
    expectNothingLeft();
}

TEST_F(PlayTest, aReceiverThatRefusesIsToldInTheServicesWordsAndSilencesNoOther) {
    auto process = start(play({"--to", "Cross", "--to", "Kitchen"}));
    boost::json::object event = eventOf(process, "state");
    while (event.contains("state") && event.at("state") != "failed")
        event = eventOf(process, "state");
    EXPECT_EQ(event.at("to"), "Cross");
    EXPECT_EQ(event.at("error"), "Failed to connect");
    EXPECT_EQ(event.at("code"), 6);
    EXPECT_EQ(eventOf(process, "end").at("status"), 1);
    EXPECT_EQ(process.end(), 1);
    EXPECT_TRUE(holdsTone("kitchen.wav"));
    expectNothingLeft();
}

TEST_F(PlayTest, aSettingThatChangesDuringPlayDoesNotEndIt) {
    auto process = start(play({"--to", "Kitchen", "--log", file("log")}));
    eventOf(process, "progress");
    for (const char* const latency : {"0.7", "0.8"}) { // the service knows of the first one already
        EXPECT_EQ(run({"settings", "latency", latency}), 0);
    }
    EXPECT_EQ(eventOf(process, "end").at("status"), 0);
    EXPECT_EQ(process.end(), 0);
    const std::string log = foundation::readFile(file("log"));
    const std::string rebuilt = "Updating render device configuration";
    EXPECT_NE(log.find(rebuilt, log.find(rebuilt) + 1), log.npos) << "it was to be rebuilt";
}

TEST_F(PlayTest, anInterruptionEndsEverythingInOrderAndGivesTheTerminalItsEchoBack) {
    for (const auto& [to, shown, told] : {std::tuple("Kitchen", "buffered", "then interrupted"),
                                          std::tuple("Locked", "Enter the password of Locked: ", "ended")}) {
        AtTerminal terminal({HOUSE_BIN_DIR "/orbctl", "play", file("tone.wav"), "--to", to}, environment());
        terminal.await(shown);
        terminal.type("\x03");
        terminal.await(told);
        EXPECT_TRUE(terminal.echoes());
        terminal.await("");
        EXPECT_EQ(terminal.end(), 130);
        expectNothingLeft();
    }
}

TEST_F(PlayTest, aPasswordIsAskedForUnseenUntilItIsRightAndStandsNowhere) {
    AtTerminal terminal({HOUSE_BIN_DIR "/orbctl", "play", file("tone.wav"), "--to", "Locked", "--latency",
                         "0.3", "--log", file("log")},
                        environment());
    terminal.await("Enter the password of Locked: ");
    EXPECT_FALSE(terminal.echoes());
    terminal.type("close sesame\n");
    terminal.await("That was wrong. Enter the password of Locked: ");
    terminal.type("open sesame\n");
    terminal.await("connected");
    EXPECT_TRUE(terminal.echoes());
    terminal.await("");
    EXPECT_EQ(terminal.end(), 0);
    EXPECT_TRUE(holdsTone("locked.wav"));
    EXPECT_THAT(terminal.shown + foundation::readFile(file("log")), Not(HasSubstr("sesame")));
}

} // namespace
} // namespace orbctl::test
