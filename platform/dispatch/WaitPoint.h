// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Task.h"
#include "platform/dispatch/Timer.h"

#include <boost/asio/cancellation_signal.hpp>

#include <optional>

namespace dispatch {

/// The place where one task at a time waits: until it is notified, until a deadline, or until it is
/// cancelled. Belongs to the queue of the waiting task; all operations run there.
class WaitPoint {
  public:
    explicit WaitPoint(Queue& queue);
    WaitPoint(const WaitPoint&) = delete;
    WaitPoint& operator=(const WaitPoint&) = delete;

    /// True when notified, false when the deadline came first (never, without one).
    /// Throws `CancellationError`.
    Task<bool> wait(std::optional<HostTime> deadline);

    /// Lets the waiting task, if any, go on at once, before this returns.
    void notify() { finish(Outcome::notified); }

    bool isAwaited() const { return static_cast<bool>(resume_); }

  private:
    enum class Outcome { notified, timedOut, cancelled };

    template <typename CompletionHandler>
    void begin(CompletionHandler handler, std::optional<HostTime> deadline);
    void finish(Outcome outcome);

    Timer timer_;
    Work resume_; // lets the waiting task go on
    Outcome outcome_{};
    boost::asio::cancellation_slot slot_;
    bool cancelled_ = false;
};

} // namespace dispatch
