// SPDX-License-Identifier: MIT
#pragma once

#include "platform/lmn/embedded/PlayerRoster.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

namespace orbsim {

/// What a player does, step by step. A plain value.
class PlayerScript {
  public:
    struct Step {
        enum class Kind { sound, silence, stall, live };
        Kind kind = Kind::sound;
        std::int64_t frames = 0;    ///< of sound or silence
        double seconds = 0;         ///< of a stall
        double partsPerMillion = 0; ///< by which the clock of live sound goes wrong
    };

    /// Which channels carry the numbers.
    enum class Side { left, right, both };

    /// `first` is the number of the first frame of sound.
    explicit PlayerScript(Side side = Side::both, std::int64_t first = 1) : side_(side), first_(first) {}

    /// Numbered frames, which go on from the sound before; frames that are zero.
    PlayerScript& sound(std::int64_t frames) { return add({Step::Kind::sound, frames}); }
    PlayerScript& silence(std::int64_t frames) { return add({Step::Kind::silence, frames}); }

    /// Sends nothing until everything sent was taken, and for `seconds` after that.
    PlayerScript& stall(double seconds) { return add({Step::Kind::stall, 0, seconds}); }

    /// Sound as it arises, a hundredth of a second at a time, by a clock that wanders within twenty seconds
    /// between so much ahead and so much behind.
    PlayerScript& live(std::int64_t frames, double partsPerMillion) {
        return add({Step::Kind::live, frames, 0, partsPerMillion});
    }

    const std::deque<Step>& steps() const { return steps_; }
    Side side() const { return side_; }
    std::int64_t first() const { return first_; }

  private:
    PlayerScript& add(Step step) {
        steps_.push_back(step);
        return *this;
    }

    Side side_;
    std::int64_t first_;
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

    // On the server queue, or where nothing runs on it.

    bool isPlaying() const { return voice_ != nullptr; }

    /// The number of the last frame sent.
    std::int64_t lastNumber() const { return number_; }

  private:
    void pump();
    bool performStep(PlayerScript::Step& step);
    bool send(PlayerScript::Step& step, std::int64_t atMost);
    bool stallFor(double seconds);
    bool sendLive(PlayerScript::Step& step);
    void liveTick(double partsPerMillion);

    lmn::PlayerRoster& roster_;
    dispatch::Queue& serverQueue_;
    const PlayerScript::Side side_;
    std::deque<PlayerScript::Step> steps_;
    lmn::PlayerVoice* voice_ = nullptr; // nullptr before it joined and after it left
    enum class Stall { none, underWay, over } stall_ = Stall::none;
    std::int64_t number_;     // of the last frame sent
    std::int64_t arisen_ = 0; // live frames that are to be sent
    std::int64_t ticks_ = 0;  // of the live clock
    bool liveClockRuns_ = false;
    std::vector<float> block_;
};

} // namespace orbsim
