// SPDX-License-Identifier: MIT
#include "orbctl/job/ReceiverList.h"
#include "orbctl/job/ServiceProcess.h"
#include "orbctl/job/UsageError.h"
#include "tests/orbctl/commands/OrbctlRun.h"

namespace orbctl::test {
namespace {

TEST_F(OrbctlTest, scriptsCanTellWrongUsageFromARefusal) {
    foundation::writeFile(directory / "broken.json", "{");
    const std::string sound = file("tone.wav");
    const struct {
        std::vector<std::string> arguments;
        int status;
    } rows[] = {
        {{"--help"}, 0},
        {{"receivers"}, 0},
        {{"watch", "--once"}, 0},
        {{}, 2},
        {{"dance"}, 2},
        {{"play", sound}, 2},
        {{"play", sound, "--to", "Nowhere"}, 2},
        {{"play", sound, "--to", "Hall", "--to", "Attic"}, 2}, // one group
        {{"play", sound, "-", "--to", "Kitchen"}, 2},
        {{"play", sound, "--to", "Kitchen", "--volume", "7"}, 2},
        {{"play", file("no.wav"), "--to", "Kitchen"}, 2},
        {{"play", sound, "--to", "Kitchen", "--log", file("no/log")}, 2},
        {{"receivers", "--receivers", file("broken.json")}, 2},
        {{"volume", "loud"}, 2},
        {{"settings", "tempo"}, 2},
        {{"settings", "latency", "nan"}, 2},
        {{"play", sound, "--to", "Kitchen", "--service", "/bin/false"}, 1},
        {{"play", sound, "--to", "Kitchen", "--service", file("no")}, 1},
    };
    for (const auto& [arguments, status] : rows)
        EXPECT_EQ(run(arguments), status) << testing::PrintToString(arguments);
    expectNothingLeft();
}

TEST_F(OrbctlTest, settingsAndVolumesStayAndAreFoundByTheirNames) {
    const struct {
        std::vector<std::string> arguments;
        std::string line;
    } rows[] = {
        {{"settings", "latency", "1.5"}, "1.5"},
        {{"settings", "_renderLatency"}, "1.5"},
        {{"settings", "prioritizeSync", "true"}, "true"},
        {{"settings", "--json"},
         R"({"latency":1.5E0,"prioritize-sync":true,"legacy-grouped-airplay":false})"},
        {{"reset-settings", "--json"},
         R"({"latency":2E0,"prioritize-sync":false,"legacy-grouped-airplay":false})"},
        {{"volume", "0.25", "--to", "Attic", "--json"}, R"({"name":"Hall","volume":2.5E-1,"muted":false})"},
        {{"volume", "mute", "--to", "Hall", "--json"}, R"({"name":"Hall","volume":2.5E-1,"muted":true})"},
        {{"volume", "--to", "A1:B2:C3:D4:E5:02", "--json"},
         R"({"name":"Hall","volume":2.5E-1,"muted":true})"},
    };
    for (const auto& [arguments, line] : rows) {
        support::PeerProcess process = start(arguments);
        EXPECT_EQ(process.line(), line);
        EXPECT_EQ(process.end(), 0);
    }
}

} // namespace
} // namespace orbctl::test
