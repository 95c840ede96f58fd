// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/DescriptorWatch.h"

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orbctl {

/// One service process. In a process group of its own, so that an interruption at the terminal does not reach
/// it: whoever started it ends it in order. Main queue.
class ServiceProcess {
  public:
    struct Options {
        std::filesystem::path program;
        std::string argument;                 ///< the launch configuration
        std::vector<std::string> environment; ///< NAME=VALUE, before what this process has
    };

    /// `logged` is called with each line that it prints, on whichever output, without its end. `ended` is
    /// called once, with its exit status, or 128 and the signal that killed it. Throws std::system_error.
    ServiceProcess(dispatch::Queue& mainQueue, const Options& options,
                   std::function<void(const std::string& line)> logged,
                   std::function<void(int status)> ended);

    /// Kills it if it still runs; nobody is called.
    ~ServiceProcess();
    ServiceProcess(const ServiceProcess&) = delete;
    ServiceProcess& operator=(const ServiceProcess&) = delete;

    /// Asks it to end.
    void terminate();

    bool hasEnded() const { return process_ < 0; }

    /// The program beside this one.
    static std::filesystem::path standardProgram();

  private:
    void watch(dispatch::Queue& mainQueue, foundation::FileDescriptor source);
    bool readLog();
    int reap();

    const std::function<void(const std::string& line)> logged_;
    const std::function<void(int status)> ended_;
    int logDescriptor_ = -1; // of the watch
    std::string logText_;    // what came after the last line
    std::optional<foundation::DescriptorWatch> logWatch_;
    std::optional<foundation::DescriptorWatch> endWatch_;
    pid_t process_ = -1;
};

/// The text of a log line of level 4; nullopt for any other line.
std::optional<std::string> failureOf(std::string_view logLine);

} // namespace orbctl
