// SPDX-License-Identifier: MIT
#include "orbctl/sound/Frames.h"

#include <algorithm>
#include <cstring>

namespace orbctl {

namespace {

// Compared at once by memcmp: large enough to run at memory speed, small enough to keep the slow look at a
// differing block cheap.
constexpr std::size_t blockFrames = 1024;

std::size_t equalFramesOneByOne(const float* first, const float* second, std::size_t frames) {
    std::size_t equal = 0;
    while (equal < frames && framesEqual(first + equal * channelCount, second + equal * channelCount)) {
        ++equal;
    }
    return equal;
}

} // namespace

std::size_t equalFrames(const float* first, const float* second, std::size_t frames) {
    std::size_t done = 0;
    while (done < frames) {
        const std::size_t count = std::min(blockFrames, frames - done);
        const float* left = first + done * channelCount;
        const float* right = second + done * channelCount;
        if (std::memcmp(left, right, count * channelCount * sizeof(float)) != 0) {
            // The bytes also differ where one zero is negative, which is no difference in sound.
            const std::size_t equal = equalFramesOneByOne(left, right, count);
            if (equal < count) {
                return done + equal;
            }
        }
        done += count;
    }
    return frames;
}

std::size_t nonSilentFrames(std::span<const float> interleaved) {
    std::size_t count = 0;
    for (std::size_t i = 0; i + 1 < interleaved.size(); i += channelCount) {
        count += isSilent(&interleaved[i]) ? 0U : 1U;
    }
    return count;
}

std::size_t leadingSilentFrames(std::span<const float> interleaved) {
    const std::size_t frames = frameCount(interleaved);
    std::size_t silent = 0;
    while (silent < frames && isSilent(&interleaved[silent * channelCount])) {
        ++silent;
    }
    return silent;
}

std::size_t readFully(FrameReader& reader, std::span<float> interleaved) {
    std::size_t done = 0;
    const std::size_t wanted = frameCount(interleaved);
    while (done < wanted) {
        const std::size_t got = reader.read(interleaved.subspan(done * channelCount));
        if (got == 0) {
            break;
        }
        done += got;
    }
    return done;
}

} // namespace orbctl
