// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>

namespace foundation {

/// Makes an object the process-wide one of its type while this lives; then the one before comes back. The
/// composition root and tests make it on the stack, after the object and so gone before it, innermost last.
/// `get` from any thread; who may still be using the object then is for its owner to know.
template <typename T>
class SharedInstance {
  public:
    explicit SharedInstance(T& instance) : before_(current_.exchange(&instance)) {}
    ~SharedInstance() { current_.store(before_); }
    SharedInstance(const SharedInstance&) = delete;
    SharedInstance& operator=(const SharedInstance&) = delete;

    /// nullptr when there is none.
    static T* get() { return current_.load(); }

  private:
    static inline std::atomic<T*> current_{nullptr};
    T* const before_;
};

} // namespace foundation
