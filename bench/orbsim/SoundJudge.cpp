// SPDX-License-Identifier: MIT
#include "bench/orbsim/SoundJudge.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace orbsim {
namespace {

/// What lies between the due time of a frame and the call that brings it: a step of the playout, and a
/// wake-up that comes late, s.
constexpr double slack = 1.5;

} // namespace

airplay::FrameObservers SoundJudge::observers() {
    return [this](const std::string& identifier) -> airplay::FrameObserver {
        return [this, &ear = earOf(identifier)](std::span<const float> frames, airplay::FrameIndex first) {
            hear(ear, frames, first);
        };
    };
}

SoundJudge::Ear& SoundJudge::earOf(const std::string& receiver) {
    auto& ear = ears_[receiver];
    if (!ear) {
        ear = std::make_unique<Ear>(Ear{.receiver = receiver});
    }
    return *ear;
}

void SoundJudge::setConnected(const std::set<std::string>& receivers) {
    for (const auto& [receiver, ear] : ears_) {
        const bool wasConnected = std::exchange(ear->isConnected, receivers.contains(receiver));
        if (ear->isConnected && !wasConnected) {
            ear->cameAt = verdict_.now();
        }
    }
}

double SoundJudge::lastHeardAt(const std::string& receiver) const {
    const auto ear = ears_.find(receiver);
    return ear != ears_.end() ? ear->second->endedAt : 0;
}

void SoundJudge::playerEnded(std::int64_t last) {
    if (!played_.empty()) {
        played_.back().last = std::min(played_.back().last, last);
    }
}

void SoundJudge::rendererWasReset(double latency) {
    ++resetCount_;
    resets_.push_back({verdict_.now(), latency});
    if (resets_.size() > 1000) {
        resets_.pop_front();
    }
}

void SoundJudge::hear(Ear& ear, std::span<const float> frames, airplay::FrameIndex first) {
    compare(ear, frames, first);
    for (std::size_t frame = 0; frame < frames.size() / 2; ++frame) {
        const auto number = static_cast<std::int64_t>(frames[2 * frame]);
        if (number == 0) {
            continue;
        }
        const auto at = first + static_cast<airplay::FrameIndex>(frame);
        if (ear.number != 0 && (number != ear.number + 1 || at != ear.end)) {
            judgeBreak(ear, number, at);
        }
        judgePlace(ear, number, at);
        ear.number = number;
        ear.end = at + 1;
        ear.endedAt = verdict_.now();
        ++framesHeard_;
        lastHeard_ = number;
    }
}

void SoundJudge::compare(const Ear& ear, std::span<const float> frames, airplay::FrameIndex first) {
    if (first != block_.first || frames.size() != block_.frames.size()) {
        block_ = {first, {frames.begin(), frames.end()}};
    } else if (!std::ranges::equal(frames, block_.frames)) {
        verdict_.fail("agreement", fmt::format("{} plays something else at frame {}", ear.receiver, first));
    } else {
        hasHeardTwo_ = true;
    }
}

/// Whoever plays a frame plays it where it was played first.
void SoundJudge::judgePlace(const Ear& ear, std::int64_t number, airplay::FrameIndex at) {
    if (places_.empty() || number > places_.back().last()) {
        if (!places_.empty() && number == places_.back().last() + 1 &&
            at == places_.back().at + places_.back().frames) {
            ++places_.back().frames;
        } else {
            places_.push_back({at, number, 1});
        }
        return;
    }
    const auto after = std::ranges::upper_bound(places_, number, {}, &Stretch::number);
    if (after == places_.begin()) {
        return;
    }
    const Stretch& place = *std::prev(after);
    const std::int64_t expected = place.at + number - place.number;
    if (number <= place.last() && at != expected) {
        verdict_.fail("agreement", fmt::format("{} plays frame {} at {}, another one at {}", ear.receiver,
                                               number, at, expected));
    }
}

void SoundJudge::judgeBreak(const Ear& ear, std::int64_t number, airplay::FrameIndex at) {
    const std::string where = fmt::format("{}: frame {} is followed by {}, {} frames later", ear.receiver,
                                          ear.number, number, at - ear.end);
    if (number <= ear.number) {
        verdict_.fail("order", where);
        return;
    }
    const bool isExplained = wasResetBetween(ear.endedAt, verdict_.now()) || ear.cameAt >= ear.endedAt;
    if (mayPauseBetween(ear.number, number) || isExplained) {
        return;
    }
    verdict_.fail(number == ear.number + 1 ? "gap" : "loss", where);
}

bool SoundJudge::mayPauseBetween(std::int64_t before, std::int64_t after) const {
    const auto holds = [&](const PlayedSound& sound) {
        return before >= sound.first && before <= sound.last;
    };
    const auto sound = std::ranges::find_if(played_, holds);
    if (sound == played_.end()) {
        return false;
    }
    if (before == sound->last) {
        const auto next = std::next(sound);
        return next != played_.end() && after == next->first;
    }
    return after == before + 1 &&
           (sound->isLive || (sound->stretch > 0 && (before - sound->first + 1) % sound->stretch == 0));
}

bool SoundJudge::wasResetBetween(double begin, double end) const {
    return std::ranges::any_of(resets_, [&](const Reset& reset) {
        return reset.at >= begin - reset.latency - slack && reset.at <= end + slack;
    });
}

} // namespace orbsim
