// SPDX-License-Identifier: MIT
#include "platform/avfoundation/PlaybackCore.h"

#include "platform/dispatch/Check.h"

#include <algorithm>
#include <utility>

namespace avfoundation {

using dispatch::LockGuard;

bool PlayoutJournal::push(PlayoutCommand&& command) noexcept {
    if (commands_.size() < capacity) {
        commands_.push_back(std::move(command));
        return true;
    }
    switch (command.kind) {
        case PlayoutCommand::Kind::setClock:
            overflowedClock_ = command.clock;
            return true;
        case PlayoutCommand::Kind::flush:
            overflowedFlush_ = command.at;
            return true;
        case PlayoutCommand::Kind::enqueue:
            break;
    }
    return false;
}

void PlayoutJournal::take(std::vector<PlayoutCommand>& taken) {
    commands_.swap(taken);
    if (overflowedFlush_) {
        taken.push_back(
            {.kind = PlayoutCommand::Kind::flush, .at = *overflowedFlush_, .clock = {}, .buffer = {}});
    }
    if (overflowedClock_) {
        taken.push_back({.kind = PlayoutCommand::Kind::setClock,
                         .at = overflowedClock_->host,
                         .clock = *overflowedClock_,
                         .buffer = {}});
    }
    overflowedFlush_.reset();
    overflowedClock_.reset();
}

bool PlaybackCore::setRunning(bool running, dispatch::HostTime at) noexcept {
    {
        const LockGuard guard(lock);
        if (clock.running == running) {
            return false;
        }
        const dispatch::HostTime host = std::max(at, clock.host);
        airplay::Ticks media = clock.mediaAt(host);
        if (!running) { // a late cycle must not take back what others have read
            media = std::max(media, latestReading_);
        }
        clock = {host, media, running};
        running_.store(running);
        for (PlaybackLine* const line : lines_) {
            line->setClock(clock);
        }
    }
    if (airplay::PlaybackSystem* const system = system_.load()) {
        system->wake();
    }
    return true;
}

airplay::Ticks PlaybackCore::read(dispatch::HostTime at) noexcept {
    const LockGuard guard(lock);
    const airplay::Ticks media = clock.mediaAt(at);
    latestReading_ = std::max(latestReading_, media);
    return media;
}

void PlaybackCore::add(const std::shared_ptr<PlaybackLine>& line, airplay::PlaybackSystem& system,
                       airplay::ProcessIdentifier process) {
    airplay::PlaybackSystem* const known = system_.exchange(&system);
    ORB_CHECK(known == nullptr || known == &system, "renderers of two systems share one clock");
    line->ownedCore_ = shared_from_this();
    line->core_ = this;
    {
        const LockGuard guard(lock);
        lines_.push_back(line.get());
        line->setClock(clock);
    }
    system.attach(line, process);
}

void PlaybackCore::remove(const PlaybackLine& line) noexcept {
    const LockGuard guard(lock);
    std::erase(lines_, &line);
}

PlaybackLine::PlaybackLine(std::size_t readyLimit)
    : requests_(std::make_shared<MediaDataRequests>(readyLimit)),
      ownedCore_(std::make_shared<PlaybackCore>()),
      core_(ownedCore_.get()) {
    taken_.reserve(PlayoutJournal::capacity);
}

bool PlaybackLine::tell(PlayoutCommand&& command, MediaClock& clockNow) noexcept {
    const bool isBuffer = command.kind == PlayoutCommand::Kind::enqueue;
    const LockGuard guard(core_->lock);
    clockNow = core_->clock;
    if (!journal_.push(std::move(command))) {
        overflowed_.fetch_add(1);
        return false;
    }
    if (isBuffer) {
        requests_->added();
    }
    return true;
}

void PlaybackLine::setClock(const MediaClock& clock) noexcept {
    journal_.push({.kind = PlayoutCommand::Kind::setClock, .at = clock.host, .clock = clock, .buffer = {}});
}

PlayoutCounters PlaybackLine::counters() const {
    const LockGuard guard(core_->lock);
    return counters_;
}

void PlaybackLine::close() noexcept {
    core_->remove(*this);
    requests_->close();
}

airplay::Rendered PlaybackLine::render(const airplay::FrameGrid& grid, airplay::FrameIndex first,
                                       std::span<float> out) noexcept {
    takeJournal();
    const airplay::Rendered result = timeline_.render(grid, first, out);
    tellProgress();
    return result;
}

void PlaybackLine::pass(dispatch::HostTime until) noexcept {
    takeJournal();
    timeline_.pass(until);
    tellProgress();
}

bool PlaybackLine::isActive() const noexcept {
    if (timeline_.isActive()) {
        return true;
    }
    const LockGuard guard(core_->lock);
    return !journal_.isEmpty();
}

void PlaybackLine::takeJournal() {
    {
        const LockGuard guard(core_->lock);
        if (journal_.isEmpty()) {
            return;
        }
        journal_.take(taken_);
    }
    for (PlayoutCommand& command : taken_) {
        timeline_.give(std::move(command));
    }
    taken_.clear();
}

void PlaybackLine::tellProgress() {
    {
        const LockGuard guard(core_->lock);
        counters_ = timeline_.counters();
    }
    requests_->released(timeline_.takeReleased());
}

} // namespace avfoundation
