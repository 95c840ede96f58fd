// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/picker/waiting/OperationTimeout.h"

#include "platform/dispatch/Task.h"

#include <functional>
#include <optional>
#include <string>
#include <utility>

namespace orb {

/// How long a wait by polling may take.
struct WaitLimits {
    dispatch::Seconds timeout; // until the deadline; zero or less: no attempt is made
    dispatch::Seconds sleep;   // between two attempts
    std::string operation;     // what an `OperationTimeout` names
};

/// The time left of a wait, on the host clock: a step of the wall clock neither ends nor prolongs it.
class Deadline {
  public:
    Deadline(const dispatch::Clock& clock, dispatch::Seconds timeout)
        : clock_(clock), time_(clock.now() + dispatch::toNanoseconds(timeout.count())) {}

    dispatch::Nanoseconds remaining() const { return time_ - clock_.now(); }

  private:
    const dispatch::Clock& clock_;
    dispatch::HostTime time_;
};

/// Awaits `body()` at once and then after every sleep, until it gives a value or the deadline passes. A value
/// that comes after the deadline is discarded. Between attempts the calling task is suspended; `body` runs on
/// its queue. Absent only when the deadline is met to the nanosecond. Throws `OperationTimeout`,
/// `CancellationError` (after the attempt under way, or from the sleep), and what `body` throws.
template <typename Value>
dispatch::Task<std::optional<Value>> awaitResult(WaitLimits limits,
                                                 std::function<dispatch::Task<std::optional<Value>>()> body) {
    const dispatch::Queue* queue = co_await dispatch::currentQueue();
    const Deadline deadline(queue->clock(), limits.timeout);
    std::optional<Value> result;
    while (!result && deadline.remaining() > dispatch::Nanoseconds{0}) {
        result = co_await body();
        co_await dispatch::throwIfCancelled();
        if (!result) {
            co_await dispatch::sleepFor(dispatch::toNanoseconds(limits.sleep.count()));
        }
    }
    if (deadline.remaining() < dispatch::Nanoseconds{0}) {
        throw OperationTimeout(std::move(limits.operation));
    }
    co_return result;
}

} // namespace orb
