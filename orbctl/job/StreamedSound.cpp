// SPDX-License-Identifier: MIT
#include "orbctl/job/StreamedSound.h"

#include "orbctl/sound/SoundFile.h"

#include <fmt/format.h>

#include <string>

namespace orbctl {
namespace {

constexpr const char* name = "standard input";

} // namespace

StreamedSound::StreamedSound(int descriptor)
    : stream_(sf_open_fd(descriptor, SFM_READ, &info_, SF_FALSE), &sf_close) {
    if (!stream_) {
        throw SoundFileError(name, std::string("is no WAV or AU stream: ") + sf_strerror(nullptr));
    }
    if (info_.samplerate != framesPerSecond) {
        throw SoundFileError(
            name, fmt::format("has {} Hz, and a stream must have {}", info_.samplerate, framesPerSecond));
    }
}

std::size_t StreamedSound::read(std::span<float> interleaved) {
    const std::size_t channels = static_cast<std::size_t>(info_.channels);
    const std::size_t wanted = interleaved.size() / channelCount;
    frames_.resize(wanted * channels);
    const auto count = static_cast<std::size_t>(
        sf_readf_float(stream_.get(), frames_.data(), static_cast<sf_count_t>(wanted)));
    for (std::size_t frame = 0; frame < count; ++frame) {
        const float* const samples = &frames_[frame * channels];
        interleaved[frame * channelCount] = samples[0];
        interleaved[frame * channelCount + 1] = samples[channels > 1 ? 1 : 0];
    }
    return count;
}

} // namespace orbctl
