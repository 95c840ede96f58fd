// SPDX-License-Identifier: MIT
#include "ORBRouteService/ORBRouteServiceLaunchConfig.h"
#include "platform/foundation/RuntimeDirectory.h"
#include "platform/foundation/TemporaryDirectory.h"
#include "tests/support/PeerProcess.h"

#include <gmock/gmock.h>

#include <csignal>
#include <fstream>
#include <iterator>

namespace orb {
namespace {

using support::PeerProcess;
using testing::HasSubstr;
using testing::IsEmpty;

/// The service as a process, and a parent that has nothing to say.
class ServiceProcessTest : public testing::Test {
  public:
    std::vector<std::string> environment() const {
        return {"ORB_RUNTIME_DIR=" + runtime.path().string(),
                "ORB_CONFIG_DIR=" + (directory.path() / "config").string(),
                "ORB_RECEIVERS_FILE=" + (directory.path() / "receivers.json").string()};
    }
    std::string argument() const {
        const std::string archive =
            R"({"version":1,"uid":"job","name":"Parent","hidden":true,"airPlay":false,)"
            R"("inputChannels":0,"outputChannels":2})";
        return ORBRouteServiceLaunchConfig{.pid = 1,
                                           .bundle = foundation::URL::forFile(directory.path()),
                                           .device = {foundation::Data{archive}, "Parent"},
                                           .localPort = "parent",
                                           .remotePort = "service"}
            .argument();
    }
    /// `script` is what a shell does with program, argument and log.
    void start(const std::string& script = R"(exec "$0" "$1" 2>"$2")") {
        parent.emplace(
            std::vector<std::string>{HOUSE_PYTHON, HOUSE_SOURCE_DIR "/tests/processes/waiting_parent.py",
                                     "parent"},
            environment());
        service.emplace(std::vector<std::string>{"/bin/bash", "-c", script, HOUSE_BIN_DIR "/ORBRouteService",
                                                 argument(), log.string()},
                        environment());
        ASSERT_EQ(parent->line(), "found");
    }
    std::string logged() const {
        std::ifstream file(log);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    /// Sockets, locks and unfinished files, but for what the killed parent could not take along.
    std::vector<std::string> leftOver() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(directory.path())) {
            const std::string name = entry.path().filename();
            const bool isOurs =
                entry.is_socket() ? name != "parent" : name.ends_with(".lock") || name.ends_with(".new");
            if (isOurs)
                names.push_back(entry.path());
        }
        return names;
    }

    const foundation::TemporaryDirectory directory;
    const foundation::RuntimeDirectory runtime{directory.path() / "run"};
    const std::filesystem::path log = directory.path() / "log";
    std::optional<PeerProcess> parent;
    std::optional<PeerProcess> service;
};

TEST_F(ServiceProcessTest, itEndsWithItsKilledParentAndLeavesNothingBehind) {
    start();
    parent->kill();
    EXPECT_EQ(service->end(), 0);
    EXPECT_THAT(logged(), HasSubstr("Terminating ORBRouteService: parent process disconnected"));
    EXPECT_THAT(leftOver(), IsEmpty());
}

TEST_F(ServiceProcessTest, signalsEndItOnceWhicheverComeTogether) {
    start();
    for (const int signal : {SIGTERM, SIGTERM, SIGINT, SIGHUP}) {
        service->signal(signal);
    }
    EXPECT_EQ(service->end(), 0);
    const std::string lines = logged();
    const std::size_t first = lines.find("Terminating ORBRouteService: received signal ");
    ASSERT_NE(first, lines.npos);
    EXPECT_EQ(lines.find("Terminating", first + 1), lines.npos);
    EXPECT_THAT(leftOver(), IsEmpty());
}

TEST_F(ServiceProcessTest, aLogThatNobodyReadsAnyMoreDoesNotEndIt) {
    start(R"(set -o pipefail; "$0" "$1" 2>&1 | head -n 1)");
    parent->kill();
    EXPECT_EQ(service->end(), 0);
    EXPECT_THAT(leftOver(), IsEmpty());
}

TEST_F(ServiceProcessTest, withoutAConfigurationItSaysSo) {
    PeerProcess process({HOUSE_BIN_DIR "/ORBRouteService"}, environment());
    EXPECT_EQ(process.end(), 64);
    EXPECT_THAT(leftOver(), IsEmpty());
}

} // namespace
} // namespace orb
