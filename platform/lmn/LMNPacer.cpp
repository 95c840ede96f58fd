// SPDX-License-Identifier: MIT
#include "platform/lmn/LMNPacer.h"

#include "platform/lmn/LMNLog.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace lmn {

LMNPacer::LMNPacer(dispatch::Queue& ioQueue, std::uint32_t frameCount, double sampleRate)
    : queue_(ioQueue),
      frameCount_(frameCount),
      sampleRate_(sampleRate),
      timer_(ioQueue, [this] { wake(); }) {}

void LMNPacer::add(Stage stage, std::shared_ptr<PacedIO> io) {
    queue_.assertCurrent();
    Participants& participants = stage == Stage::capture ? captures_ : renders_;
    if (std::ranges::find(participants, io) != participants.end())
        return; // it ended and began again before its next turn
    const bool wasIdle = isIdle() && !running_;
    participants.push_back(std::move(io));
    if (!wasIdle)
        return;
    // A whole period ahead, so that whoever else was woken by the same sound is there for the first one.
    originPeriod_ = nextPeriod_;
    origin_ = queue_.clock().now() + durationOf(1);
    armNext();
}

void LMNPacer::wake() {
    const dispatch::HostTime now = queue_.clock().now();
    giveUpPeriods(now);
    running_ = true;
    while (!isIdle() && dueTime(nextPeriod_) <= now) {
        const dispatch::HostTime due = dueTime(nextPeriod_);
        noteLateness(now - due);
        runPeriod(due);
    }
    running_ = false;
    if (!isIdle())
        armNext();
}

void LMNPacer::runPeriod(dispatch::HostTime due) {
    const dispatch::CycleScope cycle(due);
    runStage(captures_, due);
    runStage(renders_, due);
    ++nextPeriod_;
    periodsRun_.fetch_add(1, std::memory_order_relaxed);
}

void LMNPacer::runStage(Participants& participants, dispatch::HostTime due) {
    // One that performs may add others behind it.
    for (std::size_t index = 0; index < participants.size();) {
        const std::shared_ptr<PacedIO> io = participants[index];
        if (io->perform(nextPeriod_, due))
            ++index;
        else
            std::erase(participants, io);
    }
}

void LMNPacer::giveUpPeriods(dispatch::HostTime now) {
    const dispatch::Nanoseconds lateness = now - dueTime(nextPeriod_);
    if (lateness <= longestLateness)
        return;
    const double missed = std::floor(dispatch::toSeconds(lateness) * sampleRate_ / frameCount_);
    const auto count = static_cast<std::uint64_t>(missed);
    nextPeriod_ += count;
    skipped_.fetch_add(count);
    LMNLog(4, fmt::format("LMNPacer: woken {:.1f} s late, {} periods given up\n",
                          dispatch::toSeconds(lateness), count));
}

void LMNPacer::noteLateness(dispatch::Nanoseconds lateness) {
    if (lateness > durationOf(1))
        late_.fetch_add(1, std::memory_order_relaxed);
    if (lateness.count() > worstLateness_.load(std::memory_order_relaxed))
        worstLateness_.store(lateness.count(), std::memory_order_relaxed);
}

void LMNPacer::armNext() {
    const dispatch::Nanoseconds delay = wakeDelays_ ? wakeDelays_() : dispatch::Nanoseconds{0};
    timer_.armAt(dueTime(nextPeriod_) + delay);
}

dispatch::HostTime LMNPacer::dueTime(std::uint64_t period) const {
    return origin_ + durationOf(static_cast<std::int64_t>(period - originPeriod_));
}

dispatch::Nanoseconds LMNPacer::durationOf(std::int64_t periods) const {
    // In whole frames, so that no error adds up however long it runs.
    const auto rate = static_cast<std::int64_t>(std::llround(sampleRate_));
    const std::int64_t frames = periods * frameCount_;
    return std::chrono::seconds(frames / rate) + dispatch::Nanoseconds{frames % rate * 1'000'000'000 / rate};
}

PacerFigures LMNPacer::figures() const {
    return {.periods = periodsRun_.load(),
            .late = late_.load(),
            .worstLateness = dispatch::Nanoseconds{worstLateness_.load()},
            .skipped = skipped_.load()};
}

} // namespace lmn
