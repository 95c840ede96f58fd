// SPDX-License-Identifier: MIT
// The parent application for people.
#include "orbctl/commands/Commands.h"

#include "platform/lmn/LMNLog.h"

#include <csignal>
#include <string>
#include <string_view>

namespace {

/// What the libraries report. A line goes to standard error as it is; any thread.
class FailureLog final : public lmn::LMNLogTarget {
  public:
    void write(lmn::LMNLogLevel level, std::string_view text) noexcept override {
        if (level >= failureLevel) {
            std::fprintf(stderr, "orbctl: %.*s", static_cast<int>(text.size()), text.data());
        }
    }

  private:
    static constexpr lmn::LMNLogLevel failureLevel = 4;
};

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN); // whoever reads the results may leave
    FailureLog log;
    const lmn::LMNLogInstallation installation(log);
    orbctl::Console console;
    return orbctl::runCommandLine(argc, argv, console);
}
