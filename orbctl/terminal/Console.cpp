// SPDX-License-Identifier: MIT
#include "orbctl/terminal/Console.h"

#include <fmt/format.h>

#include <fcntl.h>
#include <unistd.h>

namespace orbctl {
namespace {

/// Standard output as it was; standard error has its place.
std::FILE* takeStandardOutput() {
    std::FILE* const results = ::fdopen(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3), "w");
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
    return results;
}

void print(std::FILE* stream, std::string_view text) {
    if (stream != nullptr) {
        std::fwrite(text.data(), 1, text.size(), stream);
        std::fflush(stream); // whoever reads wants it now
    }
}

} // namespace

Console::Console() : results_(takeStandardOutput()), isTerminal_(::isatty(STDERR_FILENO) == 1) {}

Console::~Console() {
    eraseProgress();
    if (results_ != nullptr) {
        std::fclose(results_);
    }
}

void Console::result(std::string_view line) {
    eraseProgress();
    print(results_, fmt::format("{}\n", line));
}

void Console::say(std::string_view line) {
    eraseProgress();
    print(stderr, fmt::format("{}\n", line));
}

void Console::fail(std::string_view reason) { say(fmt::format("orbctl: {}", reason)); }

void Console::progress(std::string_view line) {
    if (isTerminal_) {
        print(stderr, fmt::format("\r{}\x1b[K", line));
        hasProgress_ = true;
    }
}

void Console::eraseProgress() {
    if (hasProgress_) {
        print(stderr, "\r\x1b[K");
        hasProgress_ = false;
    }
}

} // namespace orbctl
