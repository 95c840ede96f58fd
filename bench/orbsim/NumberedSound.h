// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <span>
#include <vector>

namespace orbsim {

/// Sound that tells its own order: the frames of a player carry 1, 2, 3 ... in one or both channels, exactly
/// up to 2^24. Silence carries no number.
struct Frame {
    float left = 0;
    float right = 0;

    bool operator==(const Frame&) const = default;
};

using Sound = std::vector<Frame>;

/// A stretch in which the numbers rise by one from frame to frame.
struct Stretch {
    std::int64_t at = 0;     ///< frame of the time line
    std::int64_t number = 0; ///< that its first frame carries
    std::int64_t frames = 0;

    bool operator==(const Stretch&) const = default;
    std::int64_t last() const { return number + frames - 1; }

    friend std::ostream& operator<<(std::ostream& out, const Stretch& run) {
        return out << "{at " << run.at << ": " << run.number << " to " << run.last() << "}";
    }
};

/// The stretches of one channel; a gap, an overlap or a repetition begins a new one.
inline std::vector<Stretch> stretchesOf(std::span<const Frame> sound, float Frame::*channel = &Frame::left) {
    std::vector<Stretch> stretches;
    for (std::size_t index = 0; index < sound.size(); ++index) {
        const auto at = static_cast<std::int64_t>(index);
        const auto number = static_cast<std::int64_t>(sound[index].*channel);
        if (number == 0)
            continue;
        if (!stretches.empty() && stretches.back().at + stretches.back().frames == at &&
            stretches.back().last() + 1 == number)
            ++stretches.back().frames;
        else
            stretches.push_back({at, number, 1});
    }
    return stretches;
}

/// Puts interleaved frames at a place of the sound, which grows as needed.
inline void put(Sound& sound, std::int64_t at, std::span<const float> interleaved) {
    const auto begin = static_cast<std::size_t>(at);
    sound.resize(std::max(sound.size(), begin + interleaved.size() / 2));
    for (std::size_t frame = 0; frame < interleaved.size() / 2; ++frame)
        sound[begin + frame] = {interleaved[2 * frame], interleaved[2 * frame + 1]};
}

} // namespace orbsim
