// SPDX-License-Identifier: MIT
#include "bench/orbsim/ScriptedPlayer.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace orbsim {

using Kind = PlayerScript::Step::Kind;

ScriptedPlayer::ScriptedPlayer(lmn::PlayerRoster& roster, dispatch::Queue& serverQueue,
                               const PlayerScript& script)
    : roster_(roster),
      serverQueue_(serverQueue),
      side_(script.side()),
      steps_(script.steps()),
      number_(script.first() - 1) {}

void ScriptedPlayer::join(std::int32_t process) {
    const auto wantsFrames = [weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->pump();
    };
    voice_ = roster_.join({.pid = process, .name = "player", .deviceUID = ""}, wantsFrames);
    pump();
}

void ScriptedPlayer::leave() {
    if (voice_ == nullptr)
        return;
    lmn::PlayerVoice& voice = *std::exchange(voice_, nullptr);
    voice.end();
    roster_.forget(voice);
    roster_.framesArrived(voice);
    std::vector<float>().swap(block_);
}

void ScriptedPlayer::pump() {
    while (voice_ != nullptr && !steps_.empty() && performStep(steps_.front()))
        steps_.pop_front();
    if (voice_ != nullptr && steps_.empty())
        leave();
}

bool ScriptedPlayer::performStep(PlayerScript::Step& step) {
    switch (step.kind) {
        case Kind::stall:
            return stallFor(step.seconds);
        case Kind::live:
            return sendLive(step);
        default:
            return send(step, step.frames);
    }
}

bool ScriptedPlayer::send(PlayerScript::Step& step, std::int64_t atMost) {
    const std::int64_t frames = std::min(atMost, static_cast<std::int64_t>(voice_->fifo().space()));
    block_.assign(static_cast<std::size_t>(2 * frames), 0.0F);
    for (std::int64_t frame = 0; step.kind != Kind::silence && frame < frames; ++frame) {
        const auto number = static_cast<float>(++number_);
        block_[static_cast<std::size_t>(2 * frame)] = side_ == PlayerScript::Side::right ? 0.0F : number;
        block_[static_cast<std::size_t>(2 * frame + 1)] = side_ == PlayerScript::Side::left ? 0.0F : number;
    }
    voice_->fifo().write(block_);
    roster_.framesArrived(*voice_);
    step.frames -= frames;
    return step.frames == 0;
}

bool ScriptedPlayer::stallFor(double seconds) {
    if (stall_ == Stall::over) {
        stall_ = Stall::none;
        return true;
    }
    if (stall_ == Stall::none && voice_->fifo().available() == 0) {
        stall_ = Stall::underWay;
        serverQueue_.asyncAfter(dispatch::toNanoseconds(seconds), [weak = weak_from_this()] {
            if (const auto self = weak.lock()) {
                self->stall_ = Stall::over;
                self->pump();
            }
        });
    }
    return false;
}

bool ScriptedPlayer::sendLive(PlayerScript::Step& step) {
    if (!std::exchange(liveClockRuns_, true)) {
        liveTick(step.partsPerMillion);
    }
    const std::int64_t before = step.frames;
    const bool isOver = send(step, std::min(step.frames, arisen_));
    arisen_ -= before - step.frames;
    return isOver;
}

void ScriptedPlayer::liveTick(double partsPerMillion) {
    constexpr double seconds = 0.01;
    constexpr std::int64_t frames = 441;
    constexpr double wander = 20; // s
    const double phase = 2 * std::numbers::pi * static_cast<double>(ticks_++) * seconds / wander;
    const double tick = seconds * (1 + partsPerMillion * 1e-6 * std::sin(phase));
    serverQueue_.asyncAfter(dispatch::toNanoseconds(tick), [weak = weak_from_this(), partsPerMillion] {
        const auto self = weak.lock();
        if (self && self->voice_ != nullptr) {
            self->arisen_ += frames;
            self->liveTick(partsPerMillion);
            self->pump();
        }
    });
}

} // namespace orbsim
