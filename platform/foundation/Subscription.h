// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Work.h"

#include <utility>

namespace foundation {

/// An observation that lasts as long as this token. Movable; an empty one observes nothing. It may outlive
/// what it observes. Owned by the observer; used by one thread at a time.
///
/// What ends with it is for the source of the token to say; the sources of this library all promise:
/// ended on the thread or queue on which the handler is called, no call begins afterwards; ended elsewhere,
/// nothing is waited for, and only a call that has already begun goes on. A handler may end its own token.
class [[nodiscard]] Subscription {
  public:
    Subscription() = default;

    /// `cancel` is run once, at the latest by the destructor. It does not throw.
    explicit Subscription(dispatch::Work cancel) : cancel_(std::move(cancel)) {}

    Subscription(Subscription&& other) noexcept = default;
    Subscription& operator=(Subscription&& other) noexcept {
        if (this != &other) {
            cancel();
            cancel_ = std::move(other.cancel_);
        }
        return *this;
    }
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;
    ~Subscription() { cancel(); }

    /// Ends the observation now. Idempotent.
    void cancel() {
        if (cancel_) {
            std::exchange(cancel_, dispatch::Work{})();
        }
    }

    explicit operator bool() const { return static_cast<bool>(cancel_); }

  private:
    dispatch::Work cancel_;
};

} // namespace foundation
