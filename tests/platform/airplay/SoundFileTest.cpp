// SPDX-License-Identifier: MIT
#include "platform/dispatch/virtual/VirtualRealm.h"
#include "tests/platform/airplay/Recordings.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <csignal>

namespace airplay {
namespace {

const FrameGrid grid{dispatch::HostTime{}};

class SoundFileTest : public testing::Test {
  public:
    /// Plays 100 steps and as much silence.
    void playTo(const std::filesystem::path& file) {
        const auto receiver = makeReceiver(file);
        const auto output = receiver->open(grid);
        const std::vector<float> frames(2 * 4096, 0.0F);
        for (FrameIndex step = 0; step < 100; ++step)
            output->play(frames, 4096 * step);
        output->finish(4096 * 200);
        EXPECT_EQ(recording.left().size(), 4096U * 100);
    }

    std::shared_ptr<EmbeddedReceiver> makeReceiver(const std::filesystem::path& file) {
        ReceiverEntry entry{.description = {.name = "Kitchen", .identifier = "1", .txt = {}, .row = {}},
                            .file = file,
                            .volume = 0.25F,
                            .behaviour = {}};
        return std::make_shared<EmbeddedReceiver>(
            std::move(entry), EmbeddedReceiver::Surroundings{
                                  .mainQueue = realm.mainQueue(),
                                  .report = [this](const std::string& line) { reports.push_back(line); },
                                  .observer = recording.observer()});
    }

    const foundation::TemporaryDirectory directory;
    dispatch::VirtualRealm realm;
    std::vector<std::string> reports;
    Recording recording;
};

TEST_F(SoundFileTest, aFileThatCannotBeOpenedIsReportedOnceAndTheReceiverGoesOn) {
    playTo("/dev/full");
    EXPECT_EQ(reports.size(), 1U);
}

TEST_F(SoundFileTest, aDiskThatFillsUpIsReportedOnceAndWhatWasStoredStays) {
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit old{};
    getrlimit(RLIMIT_FSIZE, &old);
    const rlimit limit{1'000'000, old.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    playTo(directory / "kitchen.wav");
    setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, oldHandler);
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_NE(reports[0].find("cannot write"), std::string::npos) << reports[0];
    EXPECT_GE(readSoundFile(directory / "kitchen.wav").info.frames, 4096 * 30);
}

TEST_F(SoundFileTest, samplesAreStoredAsSentWhateverTheVolume) {
    const auto receiver = makeReceiver(directory / "a.wav");
    receiver->setVolume(0.125F);
    EXPECT_EQ(receiver->volume(), 0.125F);
    const std::vector<float> frames{3.5F, -3.5F, 1e-30F, -1e-30F};
    const auto output = receiver->open(grid);
    output->silenceUntil(1);
    output->play(frames, 1);
    output->finish(4);
    EXPECT_EQ(readSoundFile(directory / "a.wav").samples,
              (std::vector<float>{0, 0, 3.5F, -3.5F, 1e-30F, -1e-30F, 0, 0}));
}

} // namespace
} // namespace airplay
