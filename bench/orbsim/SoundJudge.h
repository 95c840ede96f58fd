// SPDX-License-Identifier: MIT
#pragma once

#include "bench/orbsim/NumberedSound.h"
#include "bench/orbsim/Verdict.h"

#include "platform/airplay/embedded/EmbeddedReceivers.h"

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <vector>

namespace orbsim {

/// Sound that a player set out to play: its frames carry `first` to `last`. It pauses after every `stretch`
/// frames (0: not), and anywhere if it is live.
struct PlayedSound {
    std::int64_t first = 0;
    std::int64_t last = 0;
    std::int64_t stretch = 0;
    bool isLive = false;
};

/// Listens to all receivers, and holds what they play to these rules:
///
///     agreement   at any frame of the time line all connected receivers play the same
///     order       no frame of a player is heard twice or after a later one
///     gap         between two frames that follow each other nothing is inserted, unless the player paused
///     loss        nothing is lost, unless the renderer was reset for it with a reason, or the receiver was
///                 not connected all the time
///
/// Keeps the places where sound breaks off and goes on, not the sound. On the playout queue of a virtual
/// realm, whose thread owns it.
class SoundJudge {
  public:
    explicit SoundJudge(Verdict& verdict) : verdict_(verdict) {}

    /// For the receivers of a service, which go first.
    airplay::FrameObservers observers();

    /// Those that are connected from now on, by their identifiers.
    void setConnected(const std::set<std::string>& receivers);

    void playerBegan(const PlayedSound& sound) { played_.push_back(sound); }
    /// The last player has sent no more than up to this one.
    void playerEnded(std::int64_t last);

    /// The renderer was reset; its sound may be lost, `latency` s of it.
    void rendererWasReset(double latency);

    /// The number heard last on any receiver; 0: none.
    std::int64_t lastHeard() const { return lastHeard_; }
    /// When a frame was heard last on this one; 0: never.
    double lastHeardAt(const std::string& receiver) const;

    /// Whether two receivers have played the same at the same time.
    bool hasHeardTwo() const { return hasHeardTwo_; }

    std::int64_t framesHeard() const { return framesHeard_; }
    std::int64_t resets() const { return resetCount_; }

    /// When the renderer was reset last.
    double lastReset() const { return resets_.empty() ? 0 : resets_.back().at; }

  private:
    struct Ear {
        std::string receiver;
        bool isConnected = false;
        double cameAt = 0;           // when it was connected last
        std::int64_t number = 0;     // of the last frame that carried one
        airplay::FrameIndex end = 0; // after that frame
        double endedAt = 0;          // when it was played
    };

    struct Reset {
        double at = 0;
        double latency = 0;
    };

    struct Block {
        airplay::FrameIndex first = 0;
        std::vector<float> frames;
    };

    Ear& earOf(const std::string& receiver);
    void hear(Ear& ear, std::span<const float> frames, airplay::FrameIndex first);
    void compare(const Ear& ear, std::span<const float> frames, airplay::FrameIndex first);
    void judgePlace(const Ear& ear, std::int64_t number, airplay::FrameIndex at);
    void judgeBreak(const Ear& ear, std::int64_t number, airplay::FrameIndex at);
    bool mayPauseBetween(std::int64_t before, std::int64_t after) const;
    bool wasResetBetween(double begin, double end) const;

    Verdict& verdict_;
    std::map<std::string, std::unique_ptr<Ear>> ears_;
    std::vector<PlayedSound> played_;
    std::deque<Reset> resets_;
    Block block_;                 // the one that was played last
    std::vector<Stretch> places_; // of each number, by whoever played it first; in the order of numbers
    std::int64_t lastHeard_ = 0;
    bool hasHeardTwo_ = false;
    std::int64_t framesHeard_ = 0;
    std::int64_t resetCount_ = 0;
};

} // namespace orbsim
