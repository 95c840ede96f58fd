// SPDX-License-Identifier: MIT
#include "bench/orbsim/Simulation.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

// What happens in a world, one action after the other.
namespace orbsim {
namespace {

/// How much of a player's sound may still be played after it has left, and the pause after it, s.
constexpr double playOut = 2.5;

} // namespace

void Simulation::perform(const Ask& ask) {
    std::set<orb::LMNDeviceCodable> devices;
    service_->onMain([&] {
        for (const std::int32_t receiver : ask.receivers) {
            devices.insert(orb::LMNDeviceCodable::from(*device(receiver)));
        }
    });
    log_.requestWasSent();
    parent_->ask(devices);
}

void Simulation::perform(const AskForNonsense&) {
    log_.requestWasSent();
    parent_->ask({orb::LMNDeviceCodable{foundation::Data{"nonsense"}, "Attic"}});
}

void Simulation::perform(const Flood& flood) { parent_->flood(static_cast<std::size_t>(flood.messages)); }

void Simulation::perform(const ParentDies& death) {
    parentHasDied_ = true;
    parent_->die(death.inMessage);
    service_->run(world_.timerLateness + 0.01);
}

void Simulation::perform(const Leave& leave) {
    entry(leave.receiver).reset();
    writeReceivers();
}

void Simulation::perform(const Become& become) {
    entry(become.receiver) = become.entry;
    writeReceivers();
}

void Simulation::perform(const TurnKnob& turn) {
    if (auto& turned = entry(turn.receiver)) {
        (*turned)["volume"] = turn.volume;
        writeReceivers();
    }
}

void Simulation::perform(const SetVolume& set) {
    touchVolumes();
    service_->onMain([&] { device(set.receiver)->setVolume(set.volume); });
}

void Simulation::perform(const SetMuted& set) {
    touchVolumes();
    service_->onMain([&] { device(set.receiver)->setMuted(set.muted); });
}

void Simulation::perform(const MuteSource& mute) {
    log_.sourceWasMuted();
    lastDisturbance_ = verdict_.now();
    service_->onMain([&] { service_->service->contextDevice()->setMuted(mute.muted); });
}

void Simulation::perform(const SetLatency& set) { changeSettings(set.seconds); }

void Simulation::perform(const ResetSettings&) { changeSettings(std::nullopt); }

void Simulation::changeSettings(std::optional<double> latency) {
    log_.settingsWereChanged();
    service_->onMain([&] {
        orb::ORBManager& manager = service_->system->manager();
        if (latency) {
            manager.setRenderLatency(*latency);
        } else {
            manager.resetDefaults();
        }
        latency_ = manager.renderLatency();
    });
    lastDisturbance_ = verdict_.now();
    log_.setLatency(latency_);
}

void Simulation::perform(const Play& play) {
    if (verdict_.now() < lastPlaying_ + playOut) {
        return;
    }
    const auto frames = framesOf(play.seconds);
    const auto stretch = framesOf(play.stretch);
    PlayerScript script(PlayerScript::Side::both, nextNumber_);
    if (play.partsPerMillion != 0) {
        script.live(frames, play.partsPerMillion);
    } else if (stretch == 0) {
        script.sound(frames);
    } else {
        for (std::int64_t left = frames; left > 0; left -= stretch) {
            script.sound(std::min(left, stretch)).stall(play.pause);
        }
    }
    start(script, {.first = nextNumber_,
                   .last = nextNumber_ + frames - 1,
                   .stretch = stretch,
                   .isLive = play.partsPerMillion != 0});
}

void Simulation::start(const PlayerScript& script, const PlayedSound& sound) {
    sound_.playerBegan(sound);
    playsSteadily_ = sound.stretch == 0;
    lastDisturbance_ = lastPlaying_ = verdict_.now();
    player_ = service_->play(script);
    nextNumber_ = sound.last + 1;
}

void Simulation::perform(const StopPlayer&) {
    if (!player_ || !player_->isPlaying()) {
        return;
    }
    lastPlaying_ = verdict_.now();
    service_->system->audioServer().queue().sync([&] { player_->leave(); });
    realm_.settle();
    nextNumber_ = player_->lastNumber() + 1;
    sound_.playerEnded(player_->lastNumber());
}

void Simulation::perform(const UserPlays& plays) {
    if (!plays.playing) {
        log_.userPaused();
    }
    mediaremote::NowPlayingFile::write(
        service_->system->runtimeDirectory(),
        {{"title", "Song"}, {"duration", 200}, {"elapsedTime", 50}, {"playing", plays.playing ? 1 : 0}});
    realm_.settle();
}

/// What comes later than the latency is not heard, so it comes earlier.
void Simulation::perform(const LateWake& late) {
    wakeDelay_ = std::clamp(latency_ - 0.45, 0.0, late.seconds);
}

void Simulation::perform(const StepWallClock& stepped) {
    realm_.stepWallClock(dispatch::toNanoseconds(stepped.seconds));
}

} // namespace orbsim
