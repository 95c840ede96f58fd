// SPDX-License-Identifier: MIT
#include "tests/support/PeerProcess.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <system_error>
#include <utility>

namespace support {
namespace {

using foundation::FileDescriptor;

/// What this process has of names that are not given.
void addOwnEnvironment(std::vector<std::string>& variables) {
    const std::vector<std::string> given = variables;
    for (char** own = environ; *own != nullptr; ++own) {
        const std::string variable(*own);
        const std::string name = variable.substr(0, variable.find('=') + 1);
        if (std::ranges::none_of(given, [&](const std::string& other) { return other.starts_with(name); }))
            variables.push_back(variable);
    }
}

std::vector<char*> pointersTo(std::vector<std::string>& words) {
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    return pointers;
}

pid_t spawn(std::vector<std::string>& command, std::vector<std::string>& environment,
            const FileDescriptor& channel) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, channel.get(), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, channel.get(), STDOUT_FILENO);
    pid_t process = -1;
    const int error = posix_spawn(&process, command.at(0).c_str(), &actions, nullptr,
                                  pointersTo(command).data(), pointersTo(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw std::system_error(error, std::generic_category(), command.at(0));
    return process;
}

bool isReadable(int descriptor, std::chrono::milliseconds limit = PeerProcess::patience) {
    pollfd waited{.fd = descriptor, .events = POLLIN, .revents = 0};
    return poll(&waited, 1, static_cast<int>(limit.count())) == 1;
}

} // namespace

/// One socket for both directions: unlike a pipe, writing to one whose other end has died sends no signal.
PeerProcess::PeerProcess(std::vector<std::string> command, std::vector<std::string> environment) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        throw std::system_error(errno, std::generic_category(), "no channel to the peer");
    channel_ = FileDescriptor(ends[0]);
    const FileDescriptor itsEnd(ends[1]);
    addOwnEnvironment(environment);
    process_ = spawn(command, environment, itsEnd);
}

PeerProcess::~PeerProcess() {
    if (process_ > 0) {
        kill();
        waitpid(process_, nullptr, 0);
    }
}

std::string PeerProcess::line() {
    for (;;) {
        const std::size_t end = received_.find('\n');
        if (end != std::string::npos) {
            std::string line = received_.substr(0, end);
            received_.erase(0, end + 1);
            return line;
        }
        char bytes[4096];
        const ssize_t size = isReadable(channel_.get()) ? recv(channel_.get(), bytes, sizeof bytes, 0) : 0;
        if (size <= 0) {
            ADD_FAILURE() << "the peer says nothing, or nothing any more";
            return {};
        }
        received_.append(bytes, static_cast<std::size_t>(size));
    }
}

void PeerProcess::kill() { signal(SIGKILL); }

int PeerProcess::end() {
    if (!endsWithin(process_, patience)) {
        ADD_FAILURE() << "the peer does not end";
        kill();
    }
    int status = 0;
    waitpid(std::exchange(process_, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void PeerProcess::signal(int number) {
    EXPECT_GT(process_, 0) << "the peer has ended before";
    if (process_ > 0)
        ::kill(process_, number);
}

bool endsWithin(pid_t process, std::chrono::milliseconds limit) {
    const FileDescriptor descriptor(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
    return isReadable(descriptor.get(), limit);
}

} // namespace support
