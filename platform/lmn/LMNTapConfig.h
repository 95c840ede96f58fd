// SPDX-License-Identifier: MIT
#pragma once

#include "platform/lmn/LMNReferences.h"

#include <algorithm>
#include <vector>

namespace lmn {

/// Whether the tapped sound is still heard at its source.
enum class LMNMutingMode { never, whenTapped, always };
inline constexpr LMNMutingMode LMNMutingModeNever = LMNMutingMode::never;

/// What kind of capture a tap is.
enum class LMNTapVariety { system, application };
inline constexpr LMNTapVariety LMNTapVarietySystem = LMNTapVariety::system;

/// What a tap captures: of one device, the sound of the listed processes or, when `exclusive`, of all but
/// them.
struct LMNSource {
    LMNDeviceReference deviceReference;
    LMNMutingMode mutingMode = LMNMutingModeNever;
    std::vector<LMNProcessReference> processReferences;
    bool exclusive = false;
    std::vector<LMNChannelMapping> channelMappings;

    bool captures(const LMNProcess& process) const {
        const bool listed = std::ranges::any_of(processReferences, [&](const LMNProcessReference& reference) {
            return reference.matches(process);
        });
        return listed != exclusive;
    }
};

/// How a tap captures. A plain value, complete before a tap is made from it.
struct LMNTapConfig {
    /// The largest number of frames that one IO cycle can deliver. It divides the 8192 frames of a chunk and
    /// the 16384 of the ring behind the tap, so that no buffer ever straddles an end.
    static constexpr std::uint32_t maximumFrameCount = 512;

    std::vector<LMNSource> sources;
    double leadout = 0;             // seconds for which IO goes on, in silence, after the last sound
    std::uint32_t channelCount = 0; // of each captured buffer
    std::uint32_t frameCount = 0;   // of each captured buffer; 1 to maximumFrameCount
    double sampleRate = 0;          // Hz
    LMNTapVariety variety = LMNTapVarietySystem;
};

} // namespace lmn
