// SPDX-License-Identifier: MIT
#include "tests/processes/MirrorlabTest.h"

#include <boost/json/parse.hpp>

#include <sys/prctl.h>

#include <csignal>

namespace mirrorlab::test {
namespace {

/// The children of this process, those of all its threads.
std::vector<pid_t> children() {
    std::vector<pid_t> found;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream list(thread.path() / "children");
        for (pid_t child = 0; list >> child;)
            found.push_back(child);
    }
    return found;
}

} // namespace

MirrorlabTest::MirrorlabTest() {
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    std::filesystem::create_directory(file("temporary"));
}

Ending MirrorlabTest::run(std::vector<std::string> arguments) const {
    const std::string script = R"(exec "$0" "$@" </dev/null >"$FOLDER/stdout" 2>"$FOLDER/stderr")";
    arguments.insert(arguments.begin(), {"/bin/sh", "-c", script, HOUSE_BIN_DIR "/mirrorlab"});
    support::PeerProcess process(arguments, {"TMPDIR=" + file("temporary"), "FOLDER=" + file("")});
    const int status = process.end();
    for (const pid_t child : children()) {
        // A killed player may leave behind what a sanitizer had started to look for leaks; that ends by
        // itself.
        if (!support::endsWithin(child, std::chrono::seconds(5))) {
            ADD_FAILURE() << "a process is left";
            ::kill(child, SIGKILL);
        }
    }
    for (const auto& left : std::filesystem::directory_iterator(file("temporary")))
        ADD_FAILURE() << left << " is left";
    return {status, foundation::readFile(file("stdout")), foundation::readFile(file("stderr"))};
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
