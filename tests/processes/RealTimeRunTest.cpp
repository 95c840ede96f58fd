// SPDX-License-Identifier: MIT
#include "tests/processes/MirrorlabProcess.h"

#include "tests/orbctl/sound/TestSounds.h"

#include <gmock/gmock.h>
#include <sndfile.h>
#include <boost/json.hpp>

#include <cmath>
#include <csignal>

#include <unistd.h>

namespace mirrorlab::test {
namespace {

using namespace orbctl;
using namespace orbctl::test;
using namespace std::chrono_literals;
using ::testing::HasSubstr;
using ::testing::SizeIs;

Samples readSound(const std::filesystem::path& path) {
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (file == nullptr || info.channels != channelCount || info.samplerate != framesPerSecond) {
        ADD_FAILURE() << path << " is no recording";
        sf_close(file);
        return {};
    }
    Samples samples(static_cast<std::size_t>(info.frames) * channelCount);
    EXPECT_EQ(sf_readf_float(file, samples.data(), info.frames), info.frames);
    sf_close(file);
    return samples;
}

class RealTimeRunTest : public MirrorlabTest {
  protected:
    /// Starts a run that would last for a minute or longer, and waits until its sound is on its way.
    void startLongRun(const std::vector<std::string>& added) {
        writeDescribedSound(file("sound.wav"), 7 * framesPerSecond);
        process_ = std::make_unique<MirrorlabProcess>(runOf(file("sound.wav"), added), file(""), temporary());
        constexpr int mostLooks = 1000;
        for (int look = 0; look < mostLooks && !endsWithin(process_->pid(), 20ms); ++look) {
            if (foundation::readFile(output() / "mirrorlab.log").find("first chunk") != std::string::npos) {
                return;
            }
        }
        FAIL() << "no sound comes";
    }

    pid_t player() const {
        const std::vector<pid_t> children = childrenOf(process_->pid());
        EXPECT_THAT(children, SizeIs(1)) << "there is not one player";
        return children.empty() ? -1 : children.front();
    }

    std::unique_ptr<MirrorlabProcess> process_;
};

/// Judged here once more from the files alone: each frame of the sound tells its number.
TEST_F(RealTimeRunTest, bothRecordingsAreTheSourceAndTheReportSaysSo) {
    constexpr FrameNumber frames = 3 * framesPerSecond;
    constexpr FrameNumber mostLostAtStart = framesPerSecond / 2;
    writeDescribedSound(file("sound.wav"), frames);
    const Ending ending = run(runOf(file("sound.wav"), {"--json", file("report.json")}));
    ASSERT_EQ(ending.status, 0) << ending.errors << ending.output;

    const Samples recording = readSound(output() / "kitchen.wav");
    EXPECT_EQ(recording, readSound(output() / "living-room.wav"));
    const FrameNumber silent = static_cast<FrameNumber>(leadingSilentFrames(recording));
    ASSERT_LT(silent, framesIn(recording));
    const float firstSample = recording[static_cast<std::size_t>(silent) * channelCount];
    const FrameNumber first = std::llround(firstSample * 16777216.0F) - 1;
    ASSERT_GE(first, 0);
    EXPECT_LT(first, mostLostAtStart);
    const FrameNumber end = silent + frames - first;
    ASSERT_LE(end, framesIn(recording));
    EXPECT_EQ(cut(recording, silent, end), described(first, frames));
    EXPECT_EQ(nonSilentFrames(cut(recording, end, framesIn(recording))), 0U);

    const boost::json::value report = json("report.json");
    EXPECT_EQ(report.at("perfect"), true);
    for (const boost::json::value& receiver : report.at("receivers").as_array()) {
        EXPECT_EQ(receiver.at("matchedFrames"), frames - first);
        EXPECT_EQ(receiver.at("sourceFramesLostAtStart"), first);
        EXPECT_EQ(receiver.at("leadingSilentFrames"), silent);
    }
}

TEST_F(RealTimeRunTest, aKilledPlayerEndsTheRunAndIsTold) {
    const std::vector<std::vector<std::string>> modes{{"--duration", "600"},
                                                      {"--duration", "2000", "--virtual"}};
    for (const auto& mode : modes) {
        ASSERT_NO_FATAL_FAILURE(startLongRun(mode));
        ::kill(player(), SIGKILL);
        const Ending ending = process_->end(20s);
        EXPECT_EQ(ending.status, 70);
        EXPECT_THAT(ending.errors, HasSubstr("mirrorlab: the player ended with status 137"));
        expectNothingLeft();
        std::filesystem::remove_all(output());
    }
}

TEST_F(RealTimeRunTest, aPlayerDoesNotOutliveTheDeviceThatItPlaysInto) {
    ASSERT_NO_FATAL_FAILURE(startLongRun({"--duration", "600"}));
    const pid_t orphan = player();
    ::kill(process_->pid(), SIGKILL);
    EXPECT_EQ(process_->end(10s).status, 137);
    EXPECT_TRUE(endsWithin(orphan, 10s)) << "the player plays on to nobody";
}

} // namespace
} // namespace mirrorlab::test
