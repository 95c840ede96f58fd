// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/audio/ScriptedPlayer.h"

#include <algorithm>

namespace orb {

using Kind = PlayerScript::Step::Kind;

ScriptedPlayer::ScriptedPlayer(lmn::PlayerRoster& roster, dispatch::Queue& serverQueue,
                               const PlayerScript& script)
    : roster_(roster), serverQueue_(serverQueue), side_(script.side()), steps_(script.steps()) {}

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
}

void ScriptedPlayer::pump() {
    while (voice_ != nullptr && !steps_.empty() && performStep(steps_.front()))
        steps_.pop_front();
    if (voice_ != nullptr && steps_.empty())
        leave();
}

bool ScriptedPlayer::performStep(PlayerScript::Step& step) {
    return step.kind == Kind::stall ? stallFor(step.seconds) : send(step);
}

bool ScriptedPlayer::send(PlayerScript::Step& step) {
    const std::int64_t frames = std::min(step.frames, static_cast<std::int64_t>(voice_->fifo().space()));
    block_.assign(static_cast<std::size_t>(2 * frames), 0.0F);
    for (std::int64_t frame = 0; step.kind == Kind::sound && frame < frames; ++frame) {
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

} // namespace orb
