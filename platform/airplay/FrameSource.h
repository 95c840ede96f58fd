// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/FrameGrid.h"

#include <cstdint>
#include <span>

namespace airplay {

/// A process of the machine, as the system numbers it.
using ProcessIdentifier = std::int32_t;

/// Whether a stretch of frames holds anything to hear.
enum class Rendered { silence, sound };

/// A player of a process. Shared by the player and the playout queue, on which every operation runs.
class FrameSource {
  public:
    FrameSource() = default;
    virtual ~FrameSource() = default;
    FrameSource(const FrameSource&) = delete;
    FrameSource& operator=(const FrameSource&) = delete;

    /// Puts the sound of the frames [first, first + out.size() / 2) of `grid` into `out`, interleaved stereo.
    /// With `Rendered::silence` the content of `out` is not specified. Each call is later in host time than
    /// the one before, though not always adjoining, nor of the same grid: what was passed over was not heard.
    virtual Rendered render(const FrameGrid& grid, FrameIndex first, std::span<float> out) noexcept = 0;

    /// Lets the time up to `until` pass unheard: nobody listens.
    virtual void pass(dispatch::HostTime until) noexcept = 0;

    /// Whether time passes for this player, or something that it was told waits for the next call. While no
    /// player of a route has this, the route is not played out; `PlaybackSystem::wake` ends that.
    virtual bool isActive() const noexcept = 0;
};

} // namespace airplay
