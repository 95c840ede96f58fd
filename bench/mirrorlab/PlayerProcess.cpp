// SPDX-License-Identifier: MIT
#include "bench/mirrorlab/PlayerProcess.h"

#include "platform/dispatch/Task.h"

#include <fmt/format.h>
#include <boost/asio/bind_executor.hpp>

#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <system_error>
#include <utility>

extern char** environ;

namespace mirrorlab {
namespace {

std::vector<std::string> arguments(const PlayOptions& options) {
    std::vector<std::string> words{"mirrorlab",    "play",   "--socket",
                                   options.socket, "--tail", fmt::format("{}", options.tailSeconds)};
    if (options.atLeastSeconds)
        words.insert(words.end(), {"--at-least", fmt::format("{}", *options.atLeastSeconds)});
    if (options.durationSeconds)
        words.insert(words.end(), {"--duration", fmt::format("{}", *options.durationSeconds)});
    words.emplace_back("--");
    for (const auto& file : options.soundFiles)
        words.push_back(file);
    return words;
}

void check(int error, const char* what) {
    if (error != 0)
        throw std::system_error(error, std::generic_category(), what);
}

} // namespace

PlayerProcess::PlayerProcess(dispatch::Queue& queue, const PlayOptions& options,
                             std::function<void(int status)> ended) {
    std::vector<std::string> words = arguments(options);
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    check(::posix_spawn(&pid_, "/proc/self/exe", nullptr, nullptr, pointers.data(), environ),
          "cannot start the player");
    watch(queue, std::move(ended));
}

PlayerProcess::~PlayerProcess() {
    if (pid_ < 0)
        return;
    ::kill(pid_, SIGKILL);
    reap();
}

void PlayerProcess::watch(dispatch::Queue& queue, std::function<void(int)> ended) {
    const auto descriptor = static_cast<int>(::syscall(SYS_pidfd_open, pid_, 0));
    if (descriptor < 0)
        throw std::system_error(errno, std::generic_category(), "cannot watch the player");
    watch_.emplace(queue.ioContext(), descriptor);
    watch_->async_wait(
        boost::asio::posix::stream_descriptor::wait_read,
        boost::asio::bind_executor(dispatch::QueueExecutor(queue),
                                   [this, ended = std::move(ended)](boost::system::error_code error) {
                                       if (!error)
                                           ended(reap());
                                   }));
}

int PlayerProcess::reap() {
    int status = 0;
    ::waitpid(std::exchange(pid_, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace mirrorlab
