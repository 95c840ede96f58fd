// SPDX-License-Identifier: MIT
#include "platform/dispatch/Debounce.h"

#include "platform/dispatch/Queue.h"

#include <utility>

namespace dispatch {

Debounce::Debounce(Queue& queue, Nanoseconds quiet, std::function<void()> action)
    : queue_(queue), quiet_(quiet), timer_(std::make_shared<Timer>(queue, std::move(action))) {}

Debounce::~Debounce() { timer_->cancel(); }

void Debounce::touch() {
    const HostTime deadline = queue_.clock().now() + quiet_;
    if (queue_.isCurrent())
        timer_->armAt(deadline);
    else
        queue_.async([weak = std::weak_ptr(timer_), deadline] {
            if (const auto timer = weak.lock())
                timer->armAt(deadline);
        });
}

} // namespace dispatch
