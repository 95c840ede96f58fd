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

std::string_view nameOf(std::string_view variable) { return variable.substr(0, variable.find('=')); }

void addOwnEnvironment(std::vector<std::string>& variables) {
    const std::size_t given = variables.size();
    for (char** own = environ; *own != nullptr; ++own) {
        const auto end = variables.begin() + static_cast<std::ptrdiff_t>(given);
        if (std::none_of(variables.begin(), end,
                         [&](const std::string& variable) { return nameOf(variable) == nameOf(*own); })) {
            variables.emplace_back(*own);
        }
    }
}

std::vector<char*> pointersTo(std::vector<std::string>& words) {
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
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
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), command.at(0));
    }
    return process;
}

bool isReadable(int descriptor) {
    pollfd waited{.fd = descriptor, .events = POLLIN, .revents = 0};
    const auto limit = std::chrono::milliseconds(PeerProcess::patience);
    return poll(&waited, 1, static_cast<int>(limit.count())) == 1;
}

bool endsInTime(pid_t process) {
    const FileDescriptor descriptor(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
    return isReadable(descriptor.get());
}

} // namespace

/// One socket for both directions: unlike a pipe, writing to one whose other end has died sends no signal.
PeerProcess::PeerProcess(std::vector<std::string> command, std::vector<std::string> environment) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        throw std::system_error(errno, std::generic_category(), "no channel to the peer");
    }
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

void PeerProcess::order(std::string_view line) {
    const std::string text = std::string(line) + '\n';
    const ssize_t sent = send(channel_.get(), text.data(), text.size(), MSG_NOSIGNAL);
    EXPECT_EQ(sent, static_cast<ssize_t>(text.size())) << "the peer does not hear: " << line;
}

bool PeerProcess::hasLine() {
    char bytes[4096];
    ssize_t size = 0;
    while ((size = recv(channel_.get(), bytes, sizeof bytes, MSG_DONTWAIT)) > 0) {
        received_.append(bytes, static_cast<std::size_t>(size));
    }
    const bool isAtEnd = size == 0 || errno != EAGAIN;
    return isAtEnd || received_.find('\n') != std::string::npos;
}

std::string PeerProcess::line() {
    while (!hasLine()) {
        if (!isReadable(channel_.get())) {
            ADD_FAILURE() << "the peer says nothing";
            return {};
        }
    }
    const std::size_t end = received_.find('\n');
    if (end == std::string::npos) {
        ADD_FAILURE() << "the peer says nothing any more";
        return {};
    }
    std::string line = received_.substr(0, end);
    received_.erase(0, end + 1);
    return line;
}

void PeerProcess::suspend() {
    signal(SIGSTOP);
    int status = 0;
    EXPECT_EQ(waitpid(process_, &status, WUNTRACED), process_);
    EXPECT_TRUE(WIFSTOPPED(status)) << "the peer has ended";
    if (!WIFSTOPPED(status)) {
        process_ = -1;
    }
}

void PeerProcess::resume() { signal(SIGCONT); }

void PeerProcess::kill() { signal(SIGKILL); }

int PeerProcess::end() {
    if (!endsInTime(process_)) {
        ADD_FAILURE() << "the peer does not end";
        kill();
    }
    int status = 0;
    waitpid(std::exchange(process_, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void PeerProcess::signal(int number) {
    EXPECT_GT(process_, 0) << "the peer has ended before";
    if (process_ > 0) {
        ::kill(process_, number);
    }
}

} // namespace support
