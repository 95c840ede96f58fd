// SPDX-License-Identifier: MIT
#include "tests/processes/MirrorlabProcess.h"

#include "platform/foundation/FileDescriptor.h"
#include "tests/orbctl/sound/TestSounds.h"

#include <gmock/gmock.h>
#include <sndfile.h>
#include <boost/json/parse.hpp>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <system_error>
#include <utility>

namespace mirrorlab::test {
namespace {

using namespace orbctl;
using namespace orbctl::test;
using namespace std::chrono_literals;

constexpr const char* program = HOUSE_BIN_DIR "/mirrorlab";

std::vector<char*> pointersTo(std::vector<std::string>& words) {
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

/// This process's environment with another temporary directory.
std::vector<std::string> environmentWith(const std::filesystem::path& temporary) {
    std::vector<std::string> variables{"TMPDIR=" + temporary.string()};
    for (char** variable = environ; *variable != nullptr; ++variable) {
        if (!std::string_view(*variable).starts_with("TMPDIR=")) {
            variables.emplace_back(*variable);
        }
    }
    return variables;
}

pid_t spawn(std::vector<std::string> words, const std::filesystem::path& folder,
            const std::filesystem::path& temporary) {
    words.insert(words.begin(), program);
    std::vector<std::string> variables = environmentWith(temporary);
    const std::string output = folder / "stdout";
    const std::string errors = folder / "stderr";
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    pid_t pid = -1;
    const int error =
        posix_spawn(&pid, program, &actions, nullptr, pointersTo(words).data(), pointersTo(variables).data());
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), program);
    }
    return pid;
}

} // namespace

MirrorlabProcess::MirrorlabProcess(const std::vector<std::string>& arguments,
                                   const std::filesystem::path& folder,
                                   const std::filesystem::path& temporary)
    : folder_(folder), pid_(spawn(arguments, folder, temporary)) {}

MirrorlabProcess::~MirrorlabProcess() {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
}

Ending MirrorlabProcess::end(std::chrono::seconds limit) {
    if (!endsWithin(pid_, limit)) {
        ADD_FAILURE() << "mirrorlab has not ended after " << limit.count() << " s";
        ::kill(pid_, SIGKILL);
    }
    int status = 0;
    rusage usage{};
    ::wait4(std::exchange(pid_, -1), &status, 0, &usage);
    return {.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
            .output = foundation::readFile(folder_ / "stdout"),
            .errors = foundation::readFile(folder_ / "stderr"),
            .peakMemory = usage.ru_maxrss * std::int64_t{1024}};
}

bool endsWithin(pid_t process, std::chrono::milliseconds limit) {
    const foundation::FileDescriptor descriptor(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
    pollfd waited{.fd = descriptor.get(), .events = POLLIN, .revents = 0};
    return ::poll(&waited, 1, static_cast<int>(limit.count())) == 1;
}

std::vector<pid_t> childrenOf(pid_t process) {
    std::vector<pid_t> children;
    std::error_code gone;
    const auto threads = std::filesystem::path("/proc") / std::to_string(process) / "task";
    for (const auto& thread : std::filesystem::directory_iterator(threads, gone)) {
        std::ifstream list(thread.path() / "children");
        for (pid_t child = 0; list >> child;) {
            children.push_back(child);
        }
    }
    return children;
}

void writeDescribedSound(const std::filesystem::path& path, int frames) {
    const Samples samples = described(0, frames);
    SF_INFO info{};
    info.samplerate = framesPerSecond;
    info.channels = channelCount;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr) << path;
    EXPECT_EQ(sf_writef_float(file, samples.data(), frames), frames);
    sf_close(file);
}

MirrorlabTest::MirrorlabTest() {
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    std::filesystem::create_directory(temporary());
}

MirrorlabTest::~MirrorlabTest() {
    for (const pid_t child : childrenOf(::getpid())) {
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
    }
}

Ending MirrorlabTest::run(const std::vector<std::string>& arguments) {
    Ending ending = MirrorlabProcess(arguments, root_.path(), temporary()).end(patience);
    expectNothingLeft();
    return ending;
}

std::vector<std::string> MirrorlabTest::runOf(const std::filesystem::path& sound,
                                              const std::vector<std::string>& added) const {
    std::vector<std::string> words{"run", sound, "--output", output()};
    words.insert(words.end(), added.begin(), added.end());
    return words;
}

void MirrorlabTest::expectNothingLeft() const {
    for (const pid_t child : childrenOf(::getpid())) {
        // A killed player may leave behind what a sanitizer had started to look for leaks; that ends by
        // itself.
        EXPECT_TRUE(endsWithin(child, 5s))
            << "a process is left: " << foundation::readFile("/proc/" + std::to_string(child) + "/stat");
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
    }
    if (std::filesystem::is_directory(temporary())) {
        EXPECT_TRUE(std::filesystem::is_empty(temporary()))
            << *std::filesystem::directory_iterator(temporary()) << " is left";
    }
}

boost::json::value MirrorlabTest::json(const std::string& name) const {
    return boost::json::parse(foundation::readFile(file(name)));
}

} // namespace mirrorlab::test
