// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Queue.h"

#include <boost/asio/posix/stream_descriptor.hpp>

#include <memory>
#include <utility>

namespace foundation {

/// Calls `ready` of `owner` on `queue`, once, when its `descriptor` is ready; never when the owner has gone
/// by then, or closed the descriptor. On the queue, or while it does not run; likewise the owner's end.
template <typename Owner>
void onceReady(boost::asio::posix::stream_descriptor& descriptor,
               boost::asio::posix::descriptor_base::wait_type readiness, dispatch::Queue& queue,
               std::weak_ptr<Owner> owner, void (Owner::*ready)()) {
    descriptor.async_wait(readiness, [&descriptor, &queue, owner = std::move(owner), ready](auto error) {
        if (error || owner.expired()) {
            return; // the queue may be gone as well
        }
        queue.async([&descriptor, owner, ready] {
            if (const auto alive = owner.lock(); alive && descriptor.is_open()) {
                ((*alive).*ready)();
            }
        });
    });
}

} // namespace foundation
