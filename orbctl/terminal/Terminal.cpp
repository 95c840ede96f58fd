// SPDX-License-Identifier: MIT
#include "orbctl/terminal/Terminal.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <string>
#include <utility>

namespace orbctl {
namespace {

void show(int terminal, std::string_view text) {
    // A terminal that takes no text is one where nobody reads.
    [[maybe_unused]] const ssize_t written = ::write(terminal, text.data(), text.size());
}

} // namespace

bool Terminal::askSecret(std::string_view question, Answered answered) {
    foundation::FileDescriptor terminal(::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY));
    if (!terminal || ::tcgetattr(terminal.get(), &before_) != 0) {
        return false;
    }
    withdraw();
    termios hidden = before_;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    ::tcsetattr(terminal.get(), TCSAFLUSH, &hidden);
    show(terminal.get(), question);
    descriptor_ = terminal.get();
    answered_ = std::move(answered);
    watch_.emplace(mainQueue_, std::move(terminal), [this](int) { read(); });
    return true;
}

void Terminal::withdraw() {
    if (watch_) {
        ::tcsetattr(descriptor_, TCSAFLUSH, &before_);
        show(descriptor_, "\n");
        watch_.reset();
    }
}

/// A terminal gives a line at a time.
void Terminal::read() {
    std::array<char, 1024> bytes{};
    const ssize_t count = ::read(descriptor_, bytes.data(), bytes.size());
    std::optional<airplay::Secret> answer;
    if (count > 0) {
        std::string_view line(bytes.data(), static_cast<std::size_t>(count));
        line = line.substr(0, line.find('\n'));
        answer.emplace(std::string(line));
    }
    const Answered answered = std::move(answered_);
    withdraw();
    answered(std::move(answer));
}

} // namespace orbctl
