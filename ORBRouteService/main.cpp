// SPDX-License-Identifier: MIT
// The service's process: chooses what stands behind the platform's faces, and runs until it is told to end.
#include "ORBRouteService/embedded/EmbeddedServiceSystem.h"

#include "ORBRouteService/log/ORBDebugLog.h"

#include "platform/airplay/embedded/PromptRelay.h"
#include "platform/airplay/embedded/ReceiversFile.h"
#include "platform/dispatch/real/RealRealm.h"
#include "platform/foundation/StandardPaths.h"
#include "platform/lmn/LMNLogWriter.h"

#include <sysexits.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

/// Asks the user of the parent, where that offers it; nullptr where not.
std::unique_ptr<airplay::PromptRelay> makePromptRelay(dispatch::Queue& mainQueue) {
    const char* socket = std::getenv("ORB_PROMPT_SOCKET");
    if (socket == nullptr || *socket == '\0') {
        return nullptr;
    }
    return std::make_unique<airplay::PromptRelay>(
        mainQueue, socket, [](const std::string& line) { lmn::LMNLog(4, line + "\n"); });
}

/// The service on its system. On the main queue, and never taken down: the process ends.
class Process {
  public:
    Process(dispatch::Realm& realm, lmn::LMNLogWriter& log, std::vector<std::string> arguments)
        : log_(log),
          promptRelay_(makePromptRelay(realm.mainQueue())),
          system_(realm, {.runtimeDirectory = foundation::standardRuntimePath(),
                          .configDirectory = foundation::standardConfigPath(),
                          .receiversFile = airplay::ReceiversFile::standardPath(),
                          .user = promptRelay_.get()}),
          service_(system_.platform(std::move(arguments), [this](int status) { exit(status); })) {
        if (promptRelay_) {
            promptRelay_->leaveToScript(system_.airPlay().receivers());
        }
    }

    void start() {
        service_.applicationDidFinishLaunching();
        system_.publishNowPlaying(*service_.contextDevice());
    }

  private:
    /// Leaves nothing half done outside the process.
    [[noreturn]] void exit(int status) {
        service_.closePort();
        system_.finish();
        log_.finish();
        std::exit(status);
    }

    lmn::LMNLogWriter& log_;
    const std::unique_ptr<airplay::PromptRelay> promptRelay_;
    orb::EmbeddedServiceSystem system_;
    orb::ORBRouteService service_;
};

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN); // a reader of the log that has gone must not take the service along
    dispatch::RealRealm realm;
    lmn::LMNLogWriter log(realm, STDERR_FILENO);
    const lmn::LMNLogInstallation installation(log);
    std::optional<Process> process;
    std::optional<std::string> failure;
    realm.mainQueue().async([&] {
        try {
            process.emplace(realm, log, std::vector<std::string>(argv, argv + argc));
        } catch (const std::exception& error) {
            failure = error.what();
            realm.stop();
            return;
        }
        process->start();
    });
    realm.run();
    orb::ORBDebugLog(4, "ORBRouteService - cannot start: {}", failure.value_or("the event loop ended"));
    return EX_OSERR;
}
