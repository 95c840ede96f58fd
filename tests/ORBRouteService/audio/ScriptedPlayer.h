// SPDX-License-Identifier: MIT
#pragma once

#include "platform/lmn/embedded/PlayerRoster.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

namespace orb {

/// What a player does, step by step. A plain value.
class PlayerScript {
  public:
    struct Step {
        enum class Kind { sound, silence, stall };
        Kind kind = Kind::sound;
        std::int64_t frames = 0; ///< of sound or silence
        double seconds = 0;      ///< of a stall
    };

    /// Which channels carry the numbers.
    enum class Side { left, right, both };

    explicit PlayerScript(Side side = Side::both) : side_(side) {}

    /// Numbered frames, which go on from the sound before; frames that are zero.
    PlayerScript& sound(std::int64_t frames) { return add({Step::Kind::sound, frames, 0}); }
    PlayerScript& silence(std::int64_t frames) { return add({Step::Kind::silence, frames, 0}); }

    /// Sends nothing until everything sent was taken, and for `seconds` after that.
    PlayerScript& stall(double seconds) { return add({Step::Kind::stall, 0, seconds}); }

    const std::deque<Step>& steps() const { return steps_; }
    Side side() const { return side_; }

  private:
    PlayerScript& add(Step step) {
        steps_.push_back(step);
        return *this;
    }

    Side side_;
    std::deque<Step> steps_;
};

/// A player that joins a roster without a socket, plays its script and leaves. Shared with the roster and its
/// own timers; on the server queue.
class ScriptedPlayer : public std::enable_shared_from_this<ScriptedPlayer> {
  public:
    ScriptedPlayer(lmn::PlayerRoster& roster, dispatch::Queue& serverQueue, const PlayerScript& script);

    void join(std::int32_t process);

    /// Sends no more than it has sent; what it sent plays out.
    void leave();

  private:
    void pump();
    bool performStep(PlayerScript::Step& step);
    bool send(PlayerScript::Step& step);
    bool stallFor(double seconds);

    lmn::PlayerRoster& roster_;
    dispatch::Queue& serverQueue_;
    const PlayerScript::Side side_;
    std::deque<PlayerScript::Step> steps_;
    lmn::PlayerVoice* voice_ = nullptr; // nullptr before it joined and after it left
    enum class Stall { none, underWay, over } stall_ = Stall::none;
    std::int64_t number_ = 0; // of the last frame sent
    std::vector<float> block_;
};

} // namespace orb
