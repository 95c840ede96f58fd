// SPDX-License-Identifier: MIT
#include "orbctl/job/ServiceProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <string_view>
#include <system_error>
#include <utility>

namespace orbctl {
namespace {

using foundation::FileDescriptor;

void check(int error, const std::string& what) {
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), what);
    }
}

std::string_view nameOf(std::string_view variable) { return variable.substr(0, variable.find('=')); }

std::vector<std::string> withOwnEnvironment(std::vector<std::string> variables) {
    const std::vector<std::string> given = variables;
    for (char** own = environ; *own != nullptr; ++own) {
        const bool isGiven = std::ranges::any_of(
            given, [own](const std::string& variable) { return nameOf(variable) == nameOf(*own); });
        if (!isGiven) {
            variables.emplace_back(*own);
        }
    }
    return variables;
}

std::vector<char*> pointersTo(std::vector<std::string>& words) {
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

/// How the process differs from this one: both outputs lead to one descriptor, nothing comes in, and it
/// forgets which signals are ignored here.
class SpawnPlan {
  public:
    explicit SpawnPlan(const FileDescriptor& output) {
        posix_spawn_file_actions_init(&actions_);
        posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&actions_, output.get(), STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions_, output.get(), STDERR_FILENO);
        posix_spawnattr_init(&attributes_);
        sigset_t defaults;
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGPIPE);
        posix_spawnattr_setsigdefault(&attributes_, &defaults);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF);
    }
    ~SpawnPlan() {
        posix_spawn_file_actions_destroy(&actions_);
        posix_spawnattr_destroy(&attributes_);
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;

    pid_t spawn(std::vector<std::string> command, std::vector<std::string> environment) const {
        pid_t process = -1;
        check(posix_spawn(&process, command.front().c_str(), &actions_, &attributes_,
                          pointersTo(command).data(), pointersTo(environment).data()),
              "cannot start " + command.front());
        return process;
    }

  private:
    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
};

} // namespace

ServiceProcess::ServiceProcess(dispatch::Queue& mainQueue, const Options& options,
                               std::function<void(const std::string& line)> logged,
                               std::function<void(int status)> ended)
    : logged_(std::move(logged)), ended_(std::move(ended)) {
    std::array<int, 2> ends{-1, -1};
    check(::pipe2(ends.data(), O_CLOEXEC) == 0 ? 0 : errno, "no pipe");
    FileDescriptor source(ends[0]);
    const FileDescriptor output(ends[1]);
    process_ =
        SpawnPlan(output).spawn({options.program, options.argument}, withOwnEnvironment(options.environment));
    try {
        watch(mainQueue, std::move(source));
    } catch (...) {
        ::kill(process_, SIGKILL); // nobody would know of it
        reap();
        throw;
    }
}

void ServiceProcess::watch(dispatch::Queue& mainQueue, FileDescriptor source) {
    logDescriptor_ = source.get();
    ::fcntl(logDescriptor_, F_SETFL, O_NONBLOCK); // of this end only
    logWatch_.emplace(mainQueue, std::move(source), [this](int) { readLog(); });
    FileDescriptor end(static_cast<int>(::syscall(SYS_pidfd_open, process_, 0)));
    check(end ? 0 : errno, "cannot watch the service");
    endWatch_.emplace(mainQueue, std::move(end), [this](int) {
        endWatch_.reset();
        while (logWatch_ && readLog()) { // its last words come before its end
        }
        const std::function<void(int)> tell = ended_; // outlives this
        tell(reap());
    });
}

ServiceProcess::~ServiceProcess() {
    if (!hasEnded()) {
        ::kill(process_, SIGKILL);
        reap();
    }
}

void ServiceProcess::terminate() {
    if (!hasEnded()) {
        ::kill(process_, SIGTERM);
    }
}

int ServiceProcess::reap() {
    int status = 0;
    ::waitpid(std::exchange(process_, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

/// False when there is nothing to read now.
bool ServiceProcess::readLog() {
    std::array<char, 16384> bytes{};
    const ssize_t count = ::read(logDescriptor_, bytes.data(), bytes.size());
    if (count <= 0) {
        if (count == 0) {
            logWatch_.reset();
        }
        return false;
    }
    logText_.append(bytes.data(), static_cast<std::size_t>(count));
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = logText_.find('\n', begin)) != std::string::npos; begin = end + 1) {
        logged_(logText_.substr(begin, end - begin));
    }
    logText_.erase(0, begin);
    return true;
}

std::filesystem::path ServiceProcess::standardProgram() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path() / "ORBRouteService";
}

/// A line is "<date> <level> <text>".
std::optional<std::string> failureOf(std::string_view logLine) {
    constexpr std::string_view mark = " 4 ";
    const std::size_t dateEnd = logLine.find(' ');
    if (dateEnd == std::string_view::npos || !logLine.substr(dateEnd).starts_with(mark)) {
        return std::nullopt;
    }
    return std::string(logLine.substr(dateEnd + mark.size()));
}

} // namespace orbctl
