// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/FrameSource.h"
#include "platform/airplay/Receiver.h"

#include <memory>
#include <optional>
#include <vector>

namespace airplay {

/// The half of a route that plays: its outputs, and the players that are heard there. Owned by the route and
/// the playout; on the playout queue. Time is brought in by the playout, before every change.
class RoutePlayout {
  public:
    /// Frames of a step: small beside any latency, large beside the cost of a step.
    static constexpr FrameIndex stepFrames = 4096;

    using Sources = std::vector<std::shared_ptr<FrameSource>>;

    void begin(const FrameGrid& grid) { grid_ = grid; }

    /// Opens the receiver's output, or goes on with the one it had. An output that cannot be opened throws.
    void connect(const std::shared_ptr<Receiver>& receiver);
    void disconnect(const Receiver& receiver);
    /// Ends the output that the receiver has here, if any, for good.
    void release(const Receiver& receiver);

    void setSources(Sources sources) { sources_ = std::move(sources); }

    bool isHeard() const noexcept;
    /// Whether it has to go on step by step.
    bool isRunning() const noexcept { return isHeard() && hasActiveSource(); }

    /// When the step that begins next is over. Only while it runs.
    dispatch::HostTime nextStep() const noexcept;

    /// Plays the whole steps that are over.
    void playSteps(dispatch::HostTime now);
    /// Plays everything up to now.
    void catchUp(dispatch::HostTime now);

    /// Ends all outputs at the frame reached, and forgets them.
    void finish();

  private:
    struct Member {
        std::shared_ptr<Receiver> receiver;
        std::unique_ptr<ReceiverOutput> output;
        bool connected = true;
    };

    std::vector<Member>::iterator memberOf(const Receiver& receiver);
    bool hasActiveSource() const noexcept;
    FrameIndex stepEnd() const noexcept { return (next_ / stepFrames + 1) * stepFrames; }
    void playUntil(FrameIndex end);
    Rendered mix(std::span<float> out);
    void silenceUntil(FrameIndex end);

    std::optional<FrameGrid> grid_; // none before the first connection
    std::vector<Member> members_;   // every receiver ever connected, in the order of its first connection
    Sources sources_;
    FrameIndex next_ = 0; // the first frame not yet played
    std::vector<float> mixed_ = std::vector<float>(stepFrames * channelCount);
    std::vector<float> single_ = std::vector<float>(stepFrames * channelCount);
};

} // namespace airplay
