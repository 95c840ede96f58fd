// SPDX-License-Identifier: MIT
#include "platform/airplay/RoutePlayout.h"

#include <algorithm>
#include <functional>

namespace airplay {

std::vector<RoutePlayout::Member>::iterator RoutePlayout::memberOf(const Receiver& receiver) {
    return std::ranges::find_if(members_,
                                [&](const Member& member) { return member.receiver.get() == &receiver; });
}

void RoutePlayout::connect(const std::shared_ptr<Receiver>& receiver) {
    auto member = memberOf(*receiver);
    if (member == members_.end()) {
        member = members_.insert(member, {receiver, receiver->open(*grid_)});
    }
    member->connected = true;
    if (next_ > 0) {
        member->output->silenceUntil(next_);
    }
}

void RoutePlayout::disconnect(const Receiver& receiver) {
    const auto member = memberOf(receiver);
    if (member != members_.end()) {
        member->connected = false;
    }
}

void RoutePlayout::release(const Receiver& receiver) {
    const auto member = memberOf(receiver);
    if (member != members_.end()) {
        member->output->finish(next_);
        members_.erase(member);
    }
}

bool RoutePlayout::isHeard() const noexcept { return std::ranges::any_of(members_, &Member::connected); }

bool RoutePlayout::hasActiveSource() const noexcept {
    return std::ranges::any_of(sources_, [](const auto& source) { return source->isActive(); });
}

dispatch::HostTime RoutePlayout::nextStep() const noexcept { return grid_->timeOf(stepEnd()); }

void RoutePlayout::playSteps(dispatch::HostTime now) {
    if (!isRunning()) {
        return;
    }
    const FrameIndex due = grid_->firstNotBefore(now + dispatch::Nanoseconds{1}); // a step due now is over
    playUntil(std::max(next_, due / stepFrames * stepFrames));
}

void RoutePlayout::catchUp(dispatch::HostTime now) {
    if (isHeard()) {
        playUntil(grid_->firstNotBefore(now));
        return;
    }
    for (const auto& source : sources_) {
        source->pass(now);
    }
    if (grid_) {
        next_ = std::max(next_, grid_->firstNotBefore(now));
    }
}

void RoutePlayout::playUntil(FrameIndex end) {
    while (next_ < end) {
        if (!hasActiveSource()) {
            silenceUntil(end);
            return;
        }
        const FrameIndex frames = std::min(end, stepEnd()) - next_;
        const std::span<float> out(mixed_.data(), static_cast<std::size_t>(frames * channelCount));
        if (mix(out) == Rendered::silence) {
            silenceUntil(next_ + frames);
            continue;
        }
        for (Member& member : members_) {
            if (member.connected) {
                member.output->play(out, next_);
            }
        }
        next_ += frames;
    }
}

/// The first player that sounds renders in place; only a second one costs an addition.
Rendered RoutePlayout::mix(std::span<float> out) {
    Rendered result = Rendered::silence;
    for (const auto& source : sources_) {
        const bool first = result == Rendered::silence;
        const std::span<float> target = first ? out : std::span(single_).first(out.size());
        if (source->render(*grid_, next_, target) == Rendered::silence) {
            continue;
        }
        if (!first) {
            std::ranges::transform(out, target, out.begin(), std::plus<>{});
        }
        result = Rendered::sound;
    }
    return result;
}

void RoutePlayout::silenceUntil(FrameIndex end) {
    for (Member& member : members_) {
        if (member.connected) {
            member.output->silenceUntil(end);
        }
    }
    next_ = end;
}

void RoutePlayout::finish() {
    for (Member& member : members_) {
        member.output->finish(next_);
    }
    members_.clear();
}

} // namespace airplay
