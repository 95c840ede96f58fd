// SPDX-License-Identifier: MIT
#include "tests/orbctl/commands/OrbctlRun.h"

#include <sndfile.h>
#include <boost/json/parse.hpp>

#include <algorithm>
#include <memory>

namespace orbctl::test {
namespace {

constexpr const char* receivers = R"({"version": 1, "receivers": [
  {"name": "Kitchen", "id": "A1:B2:C3:D4:E5:01", "file": "kitchen.wav"},
  {"name": "Hall", "id": "A1:B2:C3:D4:E5:02", "file": "hall.wav", "txt": {"gid": "g", "tsid": "t"}},
  {"name": "Attic", "id": "A1:B2:C3:D4:E5:03", "file": "attic.wav", "txt": {"gid": "g", "tsid": "t"}},
  {"name": "Cross", "id": "A1:B2:C3:D4:E5:04", "outcome": "refuses"},
  {"name": "Locked", "id": "A1:B2:C3:D4:E5:05", "file": "locked.wav", "password": "open sesame"}]})";

using Sound = std::unique_ptr<SNDFILE, decltype(&sf_close)>;

std::vector<float> tone(int frames) {
    std::vector<float> samples;
    for (int n = 0; n < frames; ++n) {
        samples.push_back(static_cast<float>(n + 1) / 65536.0F);
        samples.push_back(-static_cast<float>(n + 2) / 65536.0F);
    }
    return samples;
}

std::vector<float> samplesOf(const std::string& path) {
    SF_INFO info{};
    const Sound sound(sf_open(path.c_str(), SFM_READ, &info), &sf_close);
    std::vector<float> samples(static_cast<std::size_t>(info.frames * info.channels));
    sf_readf_float(sound.get(), samples.data(), info.frames);
    return samples;
}

} // namespace

OrbctlTest::OrbctlTest() {
    foundation::writeFile(directory / "receivers.json", receivers);
    SF_INFO info{.frames = 0,
                 .samplerate = 44100,
                 .channels = 2,
                 .format = SF_FORMAT_WAV | SF_FORMAT_FLOAT,
                 .sections = 0,
                 .seekable = 0};
    const Sound sound(sf_open(file("tone.wav").c_str(), SFM_WRITE, &info), &sf_close);
    sf_writef_float(sound.get(), tone(toneFrames).data(), toneFrames);
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
        if (event.at("event").as_string() == name) {
            return event;
        }
    }
    return {};
}

bool OrbctlTest::holdsTone(const std::string& recording) const {
    const std::vector<float> expected = tone(toneFrames);
    const std::vector<float> heard = samplesOf(file(recording));
    const auto isSound = [](float sample) { return sample != 0.0F; };
    const auto begin = std::ranges::find_if(heard, isSound);
    if (heard.end() - begin < std::ssize(expected)) {
        return false;
    }
    return std::equal(expected.begin(), expected.end(), begin) &&
           std::none_of(begin + std::ssize(expected), heard.end(), isSound);
}

void OrbctlTest::expectNothingLeft() const {
    for (const char* const folder : {"jobs", "prompts", "ports"}) {
        EXPECT_TRUE(std::filesystem::is_empty(directory / "run" / folder)) << folder;
    }
    for (const auto& device : std::filesystem::directory_iterator(directory / "run" / "devices")) {
        EXPECT_FALSE(device.path().filename().string().starts_with("com.fernwick.orbctl")) << device.path();
    }
}

} // namespace orbctl::test
