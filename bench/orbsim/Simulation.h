// SPDX-License-Identifier: MIT
#pragma once

#include "bench/orbsim/LogJudge.h"
#include "bench/orbsim/SimulatedService.h"
#include "bench/orbsim/SoundJudge.h"
#include "bench/orbsim/Verdict.h"
#include "bench/orbsim/WireParent.h"
#include "bench/orbsim/World.h"
#include "bench/orbsim/isolated.h"

#include "ORBRouteService/log/flight/FlightRecorder.h"

#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace orbsim {

/// One world, run from the launch of the service to its end:
///
///     parent's port -> the events -> everything at rest -> all receivers well: one is asked for, plays, and
///     is given up -> rest -> nothing is left
///
/// Judges all the time; besides the rules of its judges it holds the service to these:
///
///     heard     what plays is heard on every receiver that is connected
///     routed    at rest what is routed is what was asked for, or the parent was told why not
///     service   receivers that are well are routed when they are asked for, and play
///     volume    at rest both sides of a connected device have the same volume
///     playing   what the user plays is shown as playing with its sound, and no longer
///     rest      no timer, window, alert or update is left, and no more memory than before
///     end       the service ends when its parent does or does not come, and only then
///
/// A world whose process does not come to its own end breaks the rule `process`.
///
/// A run is the same each time, since the world holds all that is drawn. A service that comes to rest is
/// taken down in order. Any other would have ended with its process, and must end with this one: a simulation
/// is not destroyed.
class Simulation {
  public:
    explicit Simulation(World world);
    ~Simulation() = delete;

    /// The first violation. Once.
    std::optional<Violation> run();

    /// What was seen, after the run.
    const Figures& figures() const { return figures_; }

    /// Keeps what was recorded of the service in a file. Throws std::system_error.
    void keepRecording(const std::filesystem::path& file) const { recorder_.writeSnapshot(file); }

    /// What the service logged last.
    const std::deque<std::string>& log() const { return log_.lastLines(); }

    /// Told of everything that happens; for people.
    void setNarrator(std::function<void(const std::string&)> narrator) { narrator_ = std::move(narrator); }

  private:
    using UIDs = std::set<std::string>;
    using Outputs = std::map<std::string, std::set<std::shared_ptr<orb::AVOutputDeviceProtocol>>>; // by UID

    /// After which everything has settled that was to, s: a lost receiver is told, volumes are copied, a
    /// reconnection that waits has begun.
    static constexpr double settling = 6;

    /// What a world at rest looks like.
    struct Rest {
        std::size_t timers = 0;
        std::size_t memory = 0; // bytes in use
    };

    void perform(const Ask& ask);
    void perform(const AskForNonsense&);
    void perform(const Flood& flood);
    void perform(const ParentDies& death);
    void perform(const Leave& leave);
    void perform(const Become& become);
    void perform(const TurnKnob& turn);
    void perform(const SetVolume& set);
    void perform(const SetMuted& set);
    void perform(const MuteSource& mute);
    void perform(const SetLatency& set);
    void perform(const ResetSettings&);
    void perform(const Play& play);
    void perform(const StopPlayer&);
    void perform(const UserPlays& plays);
    void perform(const LateWake& late);
    void perform(const StepWallClock& step);

    void changeSettings(std::optional<double> latency); // nullopt: all back to their defaults

    void start(const PlayerScript& script, const PlayedSound& sound);

    void takeDown();
    void runEvents();
    void runFinale();
    void runUntilAnswered();
    void advance(double seconds);
    bool isOver() const { return verdict_.violation() || hasEnded_; }

    void judge();
    void judgeArrival();
    void judgeEnd();
    void judgeHeard();
    void judgeVolumes();
    void judgeRouted();
    void judgeLeftOvers(const Rest& before);
    bool isShownAsPlaying() const;
    bool isBusy() const; // with requests, or an update of its own
    bool isAtRest() const;
    Rest rest() const;

    void watchReceivers();
    void noteRouted();
    void noteSights();
    Outputs routedOutputs() const;
    static UIDs UIDsOf(const Outputs& outputs);
    UIDs routedUIDs() const;

    void makeDevices();
    std::shared_ptr<lmn::LMNDevice> makeDevice(const ReceiverEntry& receiver);
    const std::shared_ptr<lmn::LMNDevice>& device(std::int32_t receiver) const {
        return devices_.at(static_cast<std::size_t>(receiver));
    }
    std::optional<ReceiverEntry>& entry(std::int32_t receiver) {
        return entries_.at(static_cast<std::size_t>(receiver));
    }
    std::string receiversText() const;
    void writeReceivers();
    static std::int64_t framesOf(double seconds) {
        return static_cast<std::int64_t>(seconds * orb::ORBManager::renderSampleRate);
    }
    void touchVolumes();

    const World world_;
    std::function<void(const std::string&)> narrator_ = [](const std::string&) {};
    mutable dispatch::VirtualRealm realm_;
    Verdict verdict_{realm_.clock()};
    orb::FlightRecorder recorder_{realm_.clock()};
    const orb::FlightRecorderInstallation recording_{recorder_};
    SoundJudge sound_{verdict_};
    LogJudge log_{verdict_, sound_};
    double wakeDelay_ = 0;                              // of the next cycle, s
    std::vector<std::optional<ReceiverEntry>> entries_; // as they are now; nullopt: not there
    std::optional<SimulatedService> service_;
    foundation::Subscription receivers_; // to the coming and going of those that are connected
    std::vector<std::shared_ptr<lmn::LMNDevice>> devices_; // by the receivers that they stand for
    std::optional<WireParent> parent_;
    std::size_t lostMessages_ = 0; // as far as the parent was told
    bool parentHasDied_ = false;
    bool hasEnded_ = false;
    double latency_ = 2; // s

    std::shared_ptr<ScriptedPlayer> player_; // the last one
    bool playsSteadily_ = false;
    double lastPlaying_ = -1e9;   // when it was there last
    std::int64_t nextNumber_ = 1; // of the next player's first frame
    double lastDisturbance_ = 0;  // of the sound, s since the launch as all times here

    Outputs outputs_;
    UIDs routed_;
    UIDs partlyLost_; // of which one output went and others are there: what is said of them does not count
    bool hasLostOne_ = false;
    double routedSince_ = 0;
    double lastVolumeTouch_ = 0;
    Figures figures_;
};

} // namespace orbsim
