// SPDX-License-Identifier: MIT
#include "tests/processes/MirrorlabTest.h"

#include <boost/json/parse.hpp>

#include <sys/prctl.h>
#include <sys/wait.h>

namespace mirrorlab::test {

MirrorlabTest::MirrorlabTest() {
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    std::filesystem::create_directory(file("temporary"));
}

Ending MirrorlabTest::run(std::vector<std::string> arguments) const {
    const std::string script = R"(exec "$0" "$@" </dev/null >"$FOLDER/stdout" 2>"$FOLDER/stderr")";
    arguments.insert(arguments.begin(), {"/bin/sh", "-c", script, HOUSE_BIN_DIR "/mirrorlab"});
    support::PeerProcess process(arguments, {"TMPDIR=" + file("temporary"), "FOLDER=" + file("")});
    const int status = process.end();
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a process is left";
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
