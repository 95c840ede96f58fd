// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Realm.h"
#include "platform/dispatch/Timer.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace lmn {

/// What takes part in each period of a pacer. Called on the IO queue.
class PacedIO {
  public:
    PacedIO() = default;
    virtual ~PacedIO() = default;
    PacedIO(const PacedIO&) = delete;
    PacedIO& operator=(const PacedIO&) = delete;

    /// `period` counts from 0 at the pacer's creation, and goes on counting while nothing takes part.
    /// False: takes no part any longer.
    virtual bool perform(std::uint64_t period, dispatch::HostTime due) = 0;
};

/// How punctual a pacer was.
struct PacerFigures {
    std::uint64_t periods = 0;
    std::uint64_t late = 0; // begun more than one period after they were due
    dispatch::Nanoseconds worstLateness{};
    std::uint64_t skipped = 0; // never run: the process had been asleep for too long
};

/// The one clock of capture and render:
///
///     due      |0         |1         |2         |3
///     IO queue  tap.. run.  tap.. run.            tap.. run. tap.. run.
///                                    ^ late wake-up: both missed periods are run at once, in order
///
/// In each period all taps run their IO first, then all session runners their cycle, so that the queue
/// between them never sees one side more than a cycle ahead. Within a period `Clock::cycleTime()` is the time
/// at which it was due. It runs while anything takes part.
///
/// Owned by the `LMNSystem`, which also owns the IO queue; every operation but `figures` runs there.
class LMNPacer {
  public:
    /// Lateness beyond which periods are given up instead of being made up for.
    static constexpr dispatch::Nanoseconds longestLateness = std::chrono::minutes(1);

    /// `frameCount` frames at `sampleRate` Hz per period.
    LMNPacer(dispatch::Queue& ioQueue, std::uint32_t frameCount, double sampleRate);

    enum class Stage { capture, render };

    /// Lets `io` take part from the next period on, or from the running one when its stage is yet to come;
    /// the first of all periods is due one period from now. It is kept alive until it takes no part any
    /// longer.
    void add(Stage stage, std::shared_ptr<PacedIO> io);

    /// Fault switch: by how much each wake-up comes late.
    void setWakeDelays(std::function<dispatch::Nanoseconds()> wakeDelays) {
        wakeDelays_ = std::move(wakeDelays);
    }

    /// Any thread.
    PacerFigures figures() const;

  private:
    using Participants = std::vector<std::shared_ptr<PacedIO>>;

    void wake();
    void runPeriod(dispatch::HostTime due);
    void runStage(Participants& participants, dispatch::HostTime due);
    void giveUpPeriods(dispatch::HostTime now);
    void noteLateness(dispatch::Nanoseconds lateness);
    void armNext();
    bool isIdle() const { return captures_.empty() && renders_.empty(); }
    dispatch::HostTime dueTime(std::uint64_t period) const;
    dispatch::Nanoseconds durationOf(std::int64_t periods) const;

    dispatch::Queue& queue_;
    const std::uint32_t frameCount_;
    const double sampleRate_;
    dispatch::Timer timer_;
    std::function<dispatch::Nanoseconds()> wakeDelays_;
    Participants captures_;
    Participants renders_;
    dispatch::HostTime origin_{}; // due time of period `originPeriod_`
    std::uint64_t originPeriod_ = 0;
    std::uint64_t nextPeriod_ = 0;
    bool running_ = false;
    std::atomic<std::uint64_t> late_{0}; // these four: written by the IO queue, read by anybody
    std::atomic<std::uint64_t> periodsRun_{0};
    std::atomic<std::uint64_t> skipped_{0};
    std::atomic<dispatch::Nanoseconds::rep> worstLateness_{0};
};

} // namespace lmn
