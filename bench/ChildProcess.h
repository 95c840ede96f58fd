// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/FileDescriptor.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace bench {

/// Waits until there is something to read, a connection say; throws where that takes unreasonably long.
inline void awaitReadable(int descriptor) {
    constexpr int patience = 20'000; // ms
    pollfd waited{.fd = descriptor, .events = POLLIN, .revents = 0};
    if (::poll(&waited, 1, patience) != 1) {
        throw std::runtime_error("the other process does not answer");
    }
}

/// A program that runs beside the bench, with its environment; killed when this goes. What it prints to
/// standard output comes here, its log goes to nobody. One thread.
class ChildProcess {
  public:
    ChildProcess(std::string program, std::string argument) {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) {
            throw std::system_error(errno, std::generic_category(), "no pipe");
        }
        output_ = foundation::FileDescriptor(ends[0]);
        const foundation::FileDescriptor itsEnd(ends[1]);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, itsEnd.get(), STDOUT_FILENO);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        char* const arguments[] = {program.data(), argument.data(), nullptr};
        const int error = ::posix_spawn(&process_, program.c_str(), &actions, nullptr, arguments, environ);
        posix_spawn_file_actions_destroy(&actions);
        if (error != 0) {
            throw std::system_error(error, std::generic_category(), program);
        }
    }
    ~ChildProcess() {
        ::kill(process_, SIGKILL);
        ::waitpid(process_, nullptr, 0);
    }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t id() const { return process_; }

    /// Waits for a byte that it prints.
    void awaitSign() const {
        awaitReadable(output_.get());
        char sign = 0;
        if (::read(output_.get(), &sign, 1) != 1) {
            throw std::runtime_error("the other process ended at its start");
        }
    }

  private:
    foundation::FileDescriptor output_;
    pid_t process_ = -1;
};

/// To whoever waits for this process's sign.
inline void giveSign() {
    if (::write(STDOUT_FILENO, "s", 1) != 1) {
        throw std::system_error(errno, std::generic_category(), "nobody waits for the sign");
    }
}

inline std::filesystem::path ownProgram() { return std::filesystem::read_symlink("/proc/self/exe"); }

} // namespace bench
