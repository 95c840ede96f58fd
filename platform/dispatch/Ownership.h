// SPDX-License-Identifier: MIT
#pragma once

#include <mutex>

/// Who may touch what, checked by clang's thread-safety analysis and free of cost elsewhere.
///
/// A queue is a capability: work that runs on it holds it. Every mutable member is exactly one of: owned by
/// a queue or a lock (`ORB_GUARDED_BY`), atomic with its writers and readers named, or `const`.

#if defined(__clang__)
#define ORB_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define ORB_THREAD_ATTRIBUTE(x)
#endif

#define ORB_CAPABILITY(name) ORB_THREAD_ATTRIBUTE(capability(name))
#define ORB_SCOPED_CAPABILITY ORB_THREAD_ATTRIBUTE(scoped_lockable)
#define ORB_GUARDED_BY(x) ORB_THREAD_ATTRIBUTE(guarded_by(x))
#define ORB_PT_GUARDED_BY(x) ORB_THREAD_ATTRIBUTE(pt_guarded_by(x))
#define ORB_REQUIRES(...) ORB_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define ORB_EXCLUDES(...) ORB_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define ORB_ACQUIRE(...) ORB_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define ORB_RELEASE(...) ORB_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define ORB_ASSERT_CAPABILITY(x) ORB_THREAD_ATTRIBUTE(assert_capability(x))
#define ORB_RETURN_CAPABILITY(x) ORB_THREAD_ATTRIBUTE(lock_returned(x))
#define ORB_NO_THREAD_SAFETY_ANALYSIS ORB_THREAD_ATTRIBUTE(no_thread_safety_analysis)

namespace dispatch {

/// A standard mutex that the analysis can see. `Mutex` is `std::mutex` or `std::recursive_mutex`.
template <typename Mutex>
class ORB_CAPABILITY("lock") BasicLock {
  public:
    void lock() ORB_ACQUIRE() { mutex_.lock(); }
    void unlock() ORB_RELEASE() { mutex_.unlock(); }

  private:
    Mutex mutex_;
};

using Lock = BasicLock<std::mutex>;
using RecursiveLock = BasicLock<std::recursive_mutex>;

/// Holds a lock for a scope.
template <typename LockType>
class ORB_SCOPED_CAPABILITY [[nodiscard]] LockGuard {
  public:
    explicit LockGuard(LockType& lock) ORB_ACQUIRE(lock) : lock_(lock) { lock_.lock(); }
    ~LockGuard() ORB_RELEASE() { lock_.unlock(); }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

  private:
    LockType& lock_;
};

} // namespace dispatch
