// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/embedded/EmbeddedReceiver.h"
#include "platform/foundation/TemporaryDirectory.h"

#include <sndfile.h>

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <vector>

namespace airplay {

/// What an observer hears, laid out on the time line; only the left channel, the right one must be its
/// negative. Copies, and the observers, share it, so that it may go before the receiver.
class Recording {
  public:
    FrameObserver observer() const {
        return [heard = heard_](std::span<const float> frames, FrameIndex first) {
            const auto begin = static_cast<std::size_t>(first);
            heard->broken = heard->broken || begin < heard->left.size();
            heard->left.resize(begin + frames.size() / channelCount, 0.0F);
            for (std::size_t frame = 0; frame < frames.size() / channelCount; ++frame) {
                heard->left[begin + frame] = frames[2 * frame];
                heard->broken = heard->broken || frames[2 * frame + 1] != -frames[2 * frame];
            }
        };
    }

    const std::vector<float>& left() const { return heard_->left; }
    /// Whether frames came twice, out of order, or with mixed up channels.
    bool isBroken() const { return heard_->broken; }

  private:
    struct Heard {
        std::vector<float> left;
        bool broken = false;
    };

    std::shared_ptr<Heard> heard_ = std::make_shared<Heard>();
};

struct SoundFile {
    SF_INFO info{};
    std::vector<float> samples;
};

inline SoundFile readSoundFile(const std::filesystem::path& path) {
    SoundFile sound;
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &sound.info);
    if (file == nullptr) {
        throw std::runtime_error(path.string() + ": " + sf_strerror(nullptr));
    }
    sound.samples.resize(static_cast<std::size_t>(sound.info.frames * sound.info.channels));
    sf_readf_float(file, sound.samples.data(), sound.info.frames);
    sf_close(file);
    return sound;
}

} // namespace airplay
