// SPDX-License-Identifier: MIT
#pragma once

#include "tests/orbctl/sound/TestSounds.h"

#include <gtest/gtest.h>
#include <sndfile.h>

#include <filesystem>

namespace orbctl::test {

/// Writes interleaved samples as a sound file; by default one as receivers record.
inline void writeSound(const std::filesystem::path& path, const Samples& samples, int rate = framesPerSecond,
                       int channels = channelCount, int format = SF_FORMAT_WAV | SF_FORMAT_FLOAT) {
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = channels;
    info.format = format;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr) << path;
    const auto count = static_cast<sf_count_t>(samples.size());
    EXPECT_EQ(sf_write_float(file, samples.data(), count), count);
    sf_close(file);
}

/// The samples of a recording.
inline Samples readSound(const std::filesystem::path& path) {
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    EXPECT_TRUE(info.channels == channelCount && info.samplerate == framesPerSecond) << path;
    Samples samples(static_cast<std::size_t>(info.frames * info.channels));
    EXPECT_EQ(sf_readf_float(file, samples.data(), info.frames), info.frames);
    sf_close(file);
    return samples;
}

} // namespace orbctl::test
