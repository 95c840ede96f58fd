// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Realm.h"

#include <boost/asio/io_context.hpp>

#include <deque>
#include <list>
#include <optional>

namespace dispatch {

class VirtualQueue;

/// Virtual time: every queue shares the one thread that calls `advance...`, and time passes only there.
/// Work runs in the order in which it was handed in, whatever its queue; timers fire at their exact deadline,
/// of equal deadlines the first armed first; so two runs of the same program are the same, step by step.
///
/// Sockets and files are real. What they bring is taken in whenever nothing else is left to run, before time
/// passes on. Everything is called on the one thread.
class VirtualRealm final : public Realm {
  public:
    /// `wallStart` is the wall clock's date at the start; the host clock starts at one hour.
    explicit VirtualRealm(Date wallStart = defaultWallStart);
    ~VirtualRealm() override;

    const Clock& clock() const override { return clock_; }
    Queue& mainQueue() override;
    std::unique_ptr<Queue> makeQueue(std::string label) override;
    std::shared_ptr<void> awaitOutside(std::string what, std::function<bool()> settled) override;

    /// Runs what is ready and takes in what the outside brings until nothing is left to do at this instant.
    void settle();

    /// Settles, then steps from deadline to deadline, settling at each, to exactly `duration` from now.
    /// Throws std::runtime_error when the outside owes something for longer than `outsidePatience` of real
    /// time.
    void advanceBy(Nanoseconds duration);

    /// Advances from deadline to deadline until `done()` holds; false when `limit` has passed before.
    bool advanceUntil(FunctionRef<bool()> done, Nanoseconds limit);

    /// From now on every timer fires this much after its deadline, as those of a real machine do; 0 at first.
    void setTimerLateness(Nanoseconds lateness) { timerLateness_ = lateness; }

    /// Moves the wall clock alone, as a person or a time server may.
    void stepWallClock(Nanoseconds step) { clock_.wallOffset += step; }

    /// Timers armed, for tests that look for left-overs.
    std::size_t armedTimers() const { return timers_.size(); }

    /// 2026-01-01 00:00 UTC.
    static constexpr Date defaultWallStart{std::chrono::sys_days{std::chrono::year{2026} / 1 / 1}};

    /// Real seconds for which the outside may stay silent.
    static constexpr std::chrono::seconds outsidePatience{30};

  private:
    friend class VirtualQueue;

    struct VirtualClock final : Clock {
        HostTime now() const noexcept override { return time; }
        Date wallNow() const noexcept override { return Date{time.time_since_epoch() + wallOffset}; }
        HostTime time{std::chrono::hours{1}};
        Nanoseconds wallOffset{};
    };

    struct Ready {
        VirtualQueue* queue;
        Work work;
    };

    struct Debt {
        std::string what;
        std::function<bool()> settled;
    };

    void runReady();
    const Debt* firstDebt() const;
    void waitForOutside();
    bool fireOneDueTimer();

    VirtualClock clock_;
    boost::asio::io_context io_{1};
    TimerHeap timers_;
    Nanoseconds timerLateness_{};
    std::deque<Ready> ready_;
    std::list<Debt> debts_;
    std::unique_ptr<VirtualQueue> mainQueue_;
};

} // namespace dispatch
