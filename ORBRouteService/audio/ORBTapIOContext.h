// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/audio/HTMixQueue.h"

#include "platform/dispatch/Queue.h"
#include "platform/lmn/LMNSessionRunner.h"
#include "platform/lmn/LMNTapIOContext.h"

#include <cstdint>
#include <memory>

namespace orb {

/// The tap IO streams that run in the process, and the delayed stop of a session when the last has ended.
/// Shared by all IO contexts of the process; made by the composition root. Any thread.
class TapIOActivity {
  public:
    /// For how long a session goes on without a tap's IO.
    static constexpr dispatch::Nanoseconds stopDelay = std::chrono::milliseconds(350);

    explicit TapIOActivity(dispatch::Queue& mainQueue) : mainQueue_(mainQueue) {}

    /// An IO stream begins; a pending stop is cancelled.
    void began();

    /// An IO stream has ended. After the last, `stop` runs on the main queue after `stopDelay`, unless
    /// another begins before.
    void ended(dispatch::Work stop);

    /// Streams that run; never negative.
    std::int64_t activeIOCount() const;

  private:
    void cancelPendingStop() ORB_REQUIRES(lock_);

    dispatch::Queue& mainQueue_;
    mutable dispatch::Lock lock_;
    std::int64_t activeIOCount_ ORB_GUARDED_BY(lock_) = 0;
    std::shared_ptr<dispatch::DelayedWork> pendingStopWorkItem_ ORB_GUARDED_BY(lock_);
};

/// What an IO context of a mirror device works with.
struct ORBTapIOContextParts {
    std::shared_ptr<lmn::LMNSessionRunner> session;
    std::shared_ptr<HTMixQueue> mixQueue;
    std::shared_ptr<TapIOActivity> activity;
};

/// Writes what a tap captures into the mix queue of a mirror device, and runs the device's session while
/// there is something to capture. On the IO queue.
class ORBTapIOContext final : public lmn::LMNTapIOContext,
                              public std::enable_shared_from_this<ORBTapIOContext> {
  public:
    ORBTapIOContext(lmn::LMNTap& tap, const lmn::LMNTapConfig& config,
                    std::shared_ptr<lmn::LMNDispatchQueue> queue, ORBTapIOContextParts parts);

    void willStartIO() override;
    void didStopIO() override;

    /// Real-time: no lock but the mix queue's, no allocation.
    void processIO(lmn::LMNBuffer& buffer) override;

    std::string description() const override;

  private:
    void stopSession();

    std::int64_t sampleTime_ = 0; // at which the next captured buffer is written
    const ORBTapIOContextParts parts_;
};

} // namespace orb
