// SPDX-License-Identifier: MIT
// The service's process: chooses what stands behind the platform's faces, and runs until it is told to end.
#include "ORBRouteService/embedded/EmbeddedServiceSystem.h"

#include "ORBRouteService/log/ORBDebugLog.h"
#include "ORBRouteService/log/flight/FlightLog.h"
#include "ORBRouteService/log/flight/FlightRecorder.h"

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
    Process(dispatch::Realm& realm, lmn::LMNLogWriter& log, orb::FlightRecorder& recorder,
            std::vector<std::string> arguments)
        : log_(log),
          recorder_(recorder),
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
        try {
            service_.applicationDidFinishLaunching();
            system_.publishNowPlaying(*service_.contextDevice());
        } catch (const std::exception& error) { // no descriptors left, say
            orb::ORBDebugLog(4, "ORBRouteService - cannot start: {}", error.what());
            exit(EX_OSERR);
        }
    }

  private:
    /// Leaves nothing half done outside the process.
    [[noreturn]] void exit(int status) {
        service_.closePort();
        system_.finish();
        system_.taskPool().queue().sync([] {}); // completes a snapshot of the flight recording
        if (status == EXIT_SUCCESS) {
            recorder_.discard();
        }
        log_.finish();
        std::exit(status);
    }

    lmn::LMNLogWriter& log_;
    orb::FlightRecorder& recorder_;
    const std::unique_ptr<airplay::PromptRelay> promptRelay_;
    orb::EmbeddedServiceSystem system_;
    orb::ORBRouteService service_;
};

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN); // a reader of the log that has gone must not take the service along
    dispatch::RealRealm realm;
    lmn::LMNLogWriter writer(realm, STDERR_FILENO);
    orb::FlightLog log(writer);
    const lmn::LMNLogInstallation installation(log);
    orb::FlightRecorder recorder(realm.clock(), foundation::standardRuntimePath());
    const orb::FlightRecorderInstallation recording(recorder);
    std::optional<Process> process;
    std::optional<std::string> failure;
    realm.mainQueue().async([&] {
        try {
            process.emplace(realm, writer, recorder, std::vector<std::string>(argv, argv + argc));
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
