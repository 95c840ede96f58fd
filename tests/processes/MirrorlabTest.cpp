// SPDX-License-Identifier: MIT
#include "tests/processes/MirrorlabTest.h"

#include <boost/json/parse.hpp>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace mirrorlab::test {

std::vector<pid_t> childrenOf(pid_t process) {
    std::vector<pid_t> children;
    std::error_code gone;
    const auto threads = std::filesystem::path("/proc") / std::to_string(process) / "task";
    for (const auto& thread : std::filesystem::directory_iterator(threads, gone)) {
        std::ifstream list(thread.path() / "children");
        for (pid_t child = 0; list >> child;)
            children.push_back(child);
    }
    return children;
}

MirrorlabTest::MirrorlabTest() {
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    std::filesystem::create_directory(file("temporary"));
}

MirrorlabTest::~MirrorlabTest() {
    for (const pid_t child : childrenOf(::getpid())) {
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
    }
}

support::PeerProcess MirrorlabTest::start(std::vector<std::string> arguments) const {
    const std::string script = R"(exec "$0" "$@" </dev/null >"$FOLDER/stdout" 2>"$FOLDER/stderr")";
    arguments.insert(arguments.begin(), {"/bin/sh", "-c", script, HOUSE_BIN_DIR "/mirrorlab"});
    return support::PeerProcess(arguments, {"TMPDIR=" + file("temporary"), "FOLDER=" + file("")});
}

Ending MirrorlabTest::endOf(support::PeerProcess& process) const {
    const int status = process.end();
    for (const pid_t child : childrenOf(::getpid())) {
        // A killed player may leave behind what a sanitizer had started to look for leaks; that ends by
        // itself.
        EXPECT_TRUE(support::endsWithin(child, std::chrono::seconds(5)))
            << "a process is left: " << foundation::readFile("/proc/" + std::to_string(child) + "/stat");
    }
    std::error_code missing;
    for (const auto& left : std::filesystem::directory_iterator(file("temporary"), missing))
        ADD_FAILURE() << left << " is left";
    return {status, foundation::readFile(file("stdout")), foundation::readFile(file("stderr"))};
}

Ending MirrorlabTest::run(const std::vector<std::string>& arguments) const {
    support::PeerProcess process = start(arguments);
    return endOf(process);
}

std::vector<std::string> MirrorlabTest::runOf(const std::string& sound,
                                              const std::vector<std::string>& added) const {
    std::vector<std::string> words{"run", sound, "--output", output()};
    words.insert(words.end(), added.begin(), added.end());
    return words;
}

boost::json::value MirrorlabTest::json(const std::string& name) const {
    return boost::json::parse(foundation::readFile(file(name)));
}

} // namespace mirrorlab::test
