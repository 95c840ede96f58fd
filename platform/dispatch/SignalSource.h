// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Queue.h"

#include <functional>
#include <memory>

namespace dispatch {

/// Turns a signal of the process into work of a queue: the signal itself does nothing any more. Owned by
/// whoever wants to know; made and destroyed on the queue. The handler is not called afterwards.
class SignalSource {
  public:
    SignalSource(Queue& queue, int signal, std::function<void()> handler);
    ~SignalSource();
    SignalSource(const SignalSource&) = delete;
    SignalSource& operator=(const SignalSource&) = delete;

  private:
    class State;
    const std::shared_ptr<State> state_; // shared with the wait under way
};

} // namespace dispatch
