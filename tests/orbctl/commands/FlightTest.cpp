// SPDX-License-Identifier: MIT
#include "orbctl/commands/FlightTimeline.h"
#include "tests/orbctl/commands/OrbctlRun.h"

#include <boost/json/parse.hpp>

#include <csignal>

namespace orbctl::test {
namespace {

using boost::json::object;
using testing::HasSubstr;
using testing::Not;

/// Recordings of services as a person gets at them.
class FlightTest : public OrbctlTest {
  protected:
    /// Copies the only recording of the job that there is; what `orbctl` says of it.
    object dump(const std::string& job, const std::string& output) const {
        support::PeerProcess process = start({"dump", job, "--output", file(output), "--json"});
        const std::string line = process.line();
        EXPECT_EQ(process.end(), 0);
        return line.empty() ? object{} : boost::json::parse(line).as_object();
    }

    /// The line of a message with this name, as it is replayed.
    static object messageOf(const std::filesystem::path& recordingFile, const char* kind, const char* name) {
        const auto recording = orb::FlightRecording::read(recordingFile);
        const FlightTimeline timeline(recording);
        for (const FlightLine& line : timeline.lines()) {
            object shown = timeline.jsonOf(line);
            if (shown.at("kind") == kind && shown.at("subject") == name) {
                return shown;
            }
        }
        return {};
    }
};

TEST_F(FlightTest, aServiceThatIsKilledLeavesWhatItWasAskedAndWhatItAnswered) {
    support::PeerProcess player = start({"play", file("tone.wav"), "--to", "Kitchen", "--json"});
    ASSERT_FALSE(eventOf(player, "progress").empty());

    const object running = dump("Kitchen", "a.flight");
    ASSERT_FALSE(running.empty());
    EXPECT_EQ(running.at("running"), true);
    const std::int64_t service = running.at("pid").as_int64();
    ASSERT_EQ(::kill(static_cast<pid_t>(service), SIGKILL), 0);
    EXPECT_EQ(player.end(), 1);

    const object dead = dump(std::to_string(service), "b.flight");
    ASSERT_FALSE(dead.empty());
    EXPECT_EQ(dead.at("running"), false);
    const object request = messageOf(file("b.flight"), "messageReceived", "updateDevices");
    const object reply = messageOf(file("b.flight"), "messageSent", "reply");
    ASSERT_FALSE(request.empty() || reply.empty());
    EXPECT_EQ(request.at("request"), reply.at("request"));
    EXPECT_EQ(request.at("devices").at(0).at("name"), "Kitchen");
    EXPECT_EQ(request.at("devices").at(0).at("uid"), "com.fernwick.Orbweaver::A1:B2:C3:D4:E5:01");
    EXPECT_EQ(request, messageOf(file("a.flight"), "messageReceived", "updateDevices"));
    EXPECT_EQ(run({"replay", file("b.flight")}), 0);
    EXPECT_EQ(run({"replay", file("tone.wav")}), 2);
    EXPECT_EQ(run({"dump", "Attic"}), 2);
}

TEST_F(FlightTest, aRefusedRequestLeavesASnapshotWithoutSecretsAndArchives) {
    const std::string answered = R"({"version": 1, "receivers": [{"name": "Locked", "id": "A1:B2:C3:D4:E5:05",
        "file": "locked.wav", "password": "open sesame", "answers": [{"after": 1, "text": "close sesame"}, {"after": 1, "dismiss": true}]}]})";
    foundation::writeFile(directory / "receivers.json", answered);
    EXPECT_EQ(run({"play", file("tone.wav"), "--to", "Locked"}), 1);

    std::vector<std::filesystem::path> left;
    for (const auto& entry : std::filesystem::directory_iterator(directory / "run" / "flights")) {
        left.push_back(entry.path());
    }
    ASSERT_EQ(left.size(), 1); // the service itself ended in order
    const object error = messageOf(left.front(), "messageSent", "ORBDeviceConnectionError");
    ASSERT_FALSE(error.empty());
    EXPECT_THAT(std::string(error.at("text").as_string()), HasSubstr("passwordRequired"));
    const std::string bytes = foundation::readFile(left.front());
    EXPECT_THAT(bytes, HasSubstr("Locked"));
    for (const char* const kept : {"sesame", "outputChannels", "b3V0cHV0Q2hhbm5lbHMi"}) {
        EXPECT_THAT(bytes, Not(HasSubstr(kept)));
    }
}

} // namespace
} // namespace orbctl::test
