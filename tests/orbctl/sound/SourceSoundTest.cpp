// SPDX-License-Identifier: MIT
#include "orbctl/sound/SourceSound.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <cmath>
#include <limits>
#include <numbers>

#include "platform/foundation/TemporaryDirectory.h"
#include "tests/orbctl/sound/WriteSound.h"

namespace orbctl {
namespace {

using namespace test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class SourceSoundTest : public ::testing::Test {
  protected:
    /// Writes interleaved samples as a sound file.
    std::filesystem::path write(const std::string& name, int rate, int channels, const Samples& samples,
                                int format = SF_FORMAT_WAV | SF_FORMAT_FLOAT) const {
        writeSound(folder_ / name, samples, rate, channels, format);
        return folder_ / name;
    }

    const foundation::TemporaryDirectory folder_;
};

Samples readAll(FrameReader& reader, std::size_t blockFrames = 512) {
    Samples all;
    Samples block(blockFrames * channelCount);
    for (std::size_t got = reader.read(block); got > 0 && all.size() < 10'000'000; got = reader.read(block))
        all.insert(all.end(), block.begin(), block.begin() + static_cast<std::ptrdiff_t>(got * channelCount));
    return all;
}

Samples sine(int rate, double hertz, int frames) {
    Samples samples;
    for (int i = 0; i < frames; ++i)
        samples.push_back(0.5F * static_cast<float>(std::sin(2.0 * std::numbers::pi * hertz * i / rate)));
    return samples;
}

/// Amplitude of a frequency in a channel of a stereo sound at 44100 Hz.
double amplitude(const Samples& sound, double hertz) {
    double real = 0.0;
    double imaginary = 0.0;
    const std::size_t frames = frameCount(sound);
    for (std::size_t i = 0; i < frames; ++i) {
        const double angle = 2.0 * std::numbers::pi * hertz * static_cast<double>(i) / 44100.0;
        real += static_cast<double>(sound[2 * i]) * std::cos(angle);
        imaginary += static_cast<double>(sound[2 * i]) * std::sin(angle);
    }
    return 2.0 * std::hypot(real, imaginary) / static_cast<double>(frames);
}

TEST_F(SourceSoundTest, PutsMonoInBothChannelsAndTakesTheFirstTwoOfMany) {
    Samples many(32 * 1000);
    Samples firstTwo;
    for (std::size_t i = 0; i < many.size(); ++i) {
        many[i] = static_cast<float>(i + 1) / 65536.0F;
        if (i % 32 < 2)
            firstTwo.push_back(many[i]);
    }
    const auto source = SourceSound::open(
        {.files = {write("mono.wav", 44100, 1, {0.1F, 0.2F}), write("many.wav", 44100, 32, many)}});
    EXPECT_EQ(readAll(*source), joined({{0.1F, 0.1F, 0.2F, 0.2F}, firstTwo}));
    EXPECT_THAT(source->notices(), ElementsAre(HasSubstr("of its 32 channels the first two")));
}

TEST_F(SourceSoundTest, KeepsPitchLevelAndLengthWhenResampling) {
    for (const int rate : {8000, 11025, 48000, 96000, 192000}) {
        const int frames = rate / 2 + 1;
        const auto file = write("tone.wav", rate, 1, sine(rate, 1000.0, frames));
        const auto source = SourceSound::open({.files = {file}});
        const Samples heard = readAll(*source);
        EXPECT_NEAR(static_cast<double>(framesIn(heard)), frames * 44100.0 / rate, 1.0) << rate;
        EXPECT_NEAR(amplitude(heard, 1000.0), 0.5, 0.002) << rate;
    }
}

TEST_F(SourceSoundTest, YieldsTheSameFramesWhateverIsReadAtOnceAndWithOrWithoutCache) {
    const auto file = write("a.wav", 48000, 2, noise(20000, 6));
    SourceSoundOptions options{.files = {file}, .lengthFrames = 60000};
    const Samples expected = readAll(*SourceSound::open(options), 512);
    EXPECT_EQ(framesIn(expected), 60000);
    EXPECT_EQ(readAll(*SourceSound::open(options), 1), expected);
    EXPECT_EQ(readAll(*SourceSound::open(options), 77777), expected);
    options.cacheLimitFrames = 0;
    EXPECT_EQ(readAll(*SourceSound::open(options), 333), expected);
}

TEST_F(SourceSoundTest, RepeatsWholePassesForALeastDurationAndCutsForALength) {
    const Samples sound = described(0, 30000);
    const auto file = write("a.wav", 44100, 2, sound);
    const auto once = SourceSound::open({.files = {file}, .atLeastSeconds = 0.1});
    EXPECT_EQ(once->totalFrames(), std::nullopt);
    EXPECT_EQ(readAll(*once), sound);
    EXPECT_EQ(once->totalFrames(), 30000);
    EXPECT_EQ(readAll(*SourceSound::open({.files = {file}, .atLeastSeconds = 1.0})), repeated(sound, 2));
    const auto exact = SourceSound::open({.files = {file}, .lengthFrames = 44100});
    EXPECT_EQ(exact->totalFrames(), 44100);
    EXPECT_EQ(readAll(*exact), joined({sound, cut(sound, 0, 14100)}));
    EXPECT_TRUE(readAll(*SourceSound::open({.files = {file}, .lengthFrames = 0})).empty());
}

TEST_F(SourceSoundTest, ReplacesSamplesThatAreNoFiniteNumberAndMakesZerosPositive) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const Samples sound{std::nanf(""), 0.5F, infinity, -infinity, -0.0F, 0.25F};
    const auto source = SourceSound::open({.files = {write("a.wav", 44100, 2, sound)}, .lengthFrames = 9});
    const Samples heard = readAll(*source);
    EXPECT_EQ(heard, repeated({0.0F, 0.5F, 0.0F, 0.0F, 0.0F, 0.25F}, 3));
    EXPECT_FALSE(std::signbit(heard[4]));
    EXPECT_THAT(source->notices(), ElementsAre(HasSubstr("3 samples"))) << "repetitions say nothing new";
}

TEST_F(SourceSoundTest, HearsWhatIsLeftOfATruncatedFileAndSaysSo) {
    const auto path = write("a.flac", 44100, 2, noise(50000, 3), SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
    std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
    const auto source = SourceSound::open({.files = {path}});
    const FrameNumber heard = framesIn(readAll(*source));
    EXPECT_GT(heard, 10000);
    EXPECT_LT(heard, 50000);
    EXPECT_THAT(source->notices(), ElementsAre(HasSubstr("of its 50000 frames can be decoded")));
}

TEST_F(SourceSoundTest, RefusesUnusableFilesByNameAndReason) {
    const Samples sound{0.1F, 0.2F};
    foundation::writeFile(folder_ / "nothing.wav", "");
    foundation::writeFile(folder_ / "garbage.wav", std::string(5000, 'x'));
    const std::vector<std::pair<std::filesystem::path, std::string>> cases{
        {folder_ / "missing.wav", "no such file"},
        {folder_.path(), "not a regular file"},
        {folder_ / "nothing.wav", "the file is empty"},
        {folder_ / "garbage.wav", "cannot be read as sound"},
        {write("empty.wav", 44100, 2, {}), "holds no frames"},
        {write("slow.wav", 7999, 2, sound), "7999 Hz is outside"},
        {write("fast.wav", 192001, 2, sound), "192001 Hz is outside"},
    };
    const auto good = write("good.wav", 44100, 2, sound);
    for (const auto& [file, reason] : cases) {
        try {
            SourceSound::open({.files = {good, file}});
            ADD_FAILURE() << file << " was accepted";
        } catch (const SoundFileError& error) {
            EXPECT_EQ(error.file(), file);
            EXPECT_THAT(error.reason(), HasSubstr(reason)) << file;
            EXPECT_THAT(error.what(), HasSubstr(file.string()));
        }
    }
}

TEST_F(SourceSoundTest, ReadsRecordingsUnchangedAndRefusesOtherFiles) {
    Samples sound = noise(3000, 17);
    sound[5] = -0.0F;
    sound[6] = 1.5F;
    RecordingFile recording(write("r.wav", 44100, 2, sound, SF_FORMAT_RF64 | SF_FORMAT_FLOAT));
    const Samples heard = readAll(recording);
    EXPECT_EQ(heard, sound);
    EXPECT_TRUE(std::signbit(heard[5]));
    EXPECT_THROW(RecordingFile(write("rate.wav", 48000, 2, sound)), SoundFileError);
    EXPECT_THROW(RecordingFile(write("mono.wav", 44100, 1, sound)), SoundFileError);
    const auto integer = write("pcm.wav", 44100, 2, sound, SF_FORMAT_WAV | SF_FORMAT_PCM_16);
    EXPECT_THROW(RecordingFile{integer}, SoundFileError);
}

} // namespace
} // namespace orbctl
