// SPDX-License-Identifier: MIT
#include "tests/orbctl/commands/OrbctlRun.h"

#include "tests/orbctl/sound/WriteSound.h"

#include <boost/json/parse.hpp>

namespace orbctl::test {
namespace {

constexpr const char* receivers = R"({"version": 1, "receivers": [
  {"name": "Kitchen", "id": "A1:B2:C3:D4:E5:01", "file": "kitchen.wav"},
  {"name": "Hall", "id": "A1:B2:C3:D4:E5:02", "file": "hall.wav", "txt": {"gid": "g", "tsid": "t"}},
  {"name": "Attic", "id": "A1:B2:C3:D4:E5:03", "file": "attic.wav", "txt": {"gid": "g", "tsid": "t"}},
  {"name": "Cross", "id": "A1:B2:C3:D4:E5:04", "outcome": "refuses"},
  {"name": "Locked", "id": "A1:B2:C3:D4:E5:05", "file": "locked.wav", "password": "open sesame"}]})";

} // namespace

OrbctlTest::OrbctlTest() {
    foundation::writeFile(directory / "receivers.json", receivers);
    writeSound(directory / "tone.wav", described(0, toneFrames));
}

std::vector<std::string> OrbctlTest::environment() const {
    return {"ORB_RUNTIME_DIR=" + file("run"), "ORB_CONFIG_DIR=" + file("config"),
            "ORB_RECEIVERS_FILE=" + file("receivers.json")};
}

support::PeerProcess OrbctlTest::start(const std::vector<std::string>& arguments) const {
    std::vector<std::string> command{HOUSE_BIN_DIR "/orbctl"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return support::PeerProcess(command, environment());
}

boost::json::object OrbctlTest::eventOf(support::PeerProcess& process, const std::string& name) {
    for (std::string line = process.line(); !line.empty(); line = process.line()) {
        boost::json::object event = boost::json::parse(line).as_object();
        if (event.at("event").as_string() == name)
            return event;
    }
    return {};
}

bool OrbctlTest::holdsTone(const std::string& recording) const {
    const Samples heard = readSound(file(recording));
    const FrameNumber begin = static_cast<FrameNumber>(leadingSilentFrames(heard));
    const FrameNumber end = begin + toneFrames;
    return end <= framesIn(heard) && cut(heard, begin, end) == described(0, toneFrames) &&
           nonSilentFrames(cut(heard, end, framesIn(heard))) == 0;
}

void OrbctlTest::expectNothingLeft(const std::vector<std::string>& folders) const {
    for (const std::string& folder : folders)
        EXPECT_TRUE(std::filesystem::is_empty(directory / "run" / folder)) << folder;
    for (const auto& device : std::filesystem::directory_iterator(directory / "run" / "devices"))
        EXPECT_FALSE(device.path().filename().string().starts_with("com.fernwick.orbctl")) << device.path();
}

} // namespace orbctl::test
