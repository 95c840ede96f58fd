// SPDX-License-Identifier: MIT
#pragma once

#include "platform/lmn/LMNDispatchQueue.h"
#include "platform/lmn/LMNTapConfig.h"
#include "platform/lmn/LMNTapIOContext.h"

#include <memory>

namespace lmn {

class LMNSystem;

/// Supplies what a tap does with its sound.
class LMNTapDelegate {
  public:
    virtual ~LMNTapDelegate() = default;

    /// Called once, by the first `start()`, on its thread. nullptr: the tap captures nothing.
    virtual std::shared_ptr<LMNTapIOContext> createIOContext(LMNTap& tap, const LMNTapConfig& config) = 0;
};

/// Captures the sound of the processes that play into a device.
///
///     player     |......sound......|
///     tap IO     willStartIO  processIO processIO ... silence for the lead-out ... didStopIO
///
/// IO runs while a captured process has sound, and for the configured lead-out after it, so that what comes
/// later in the chain can play to its end. Owned by whoever listens; `start`, `stop` and destruction on the
/// main queue; the IO context is called on the IO queue.
class LMNTap {
  public:
    /// `config` has one source. `queue` is what the IO contexts are given as theirs.
    LMNTap(LMNSystem& system, LMNTapConfig config, std::shared_ptr<LMNDispatchQueue> queue);

    /// Stops.
    ~LMNTap();
    LMNTap(const LMNTap&) = delete;
    LMNTap& operator=(const LMNTap&) = delete;

    void setDelegate(std::weak_ptr<LMNTapDelegate> delegate) { delegate_ = std::move(delegate); }
    const LMNTapConfig& config() const { return config_; }
    const std::shared_ptr<LMNDispatchQueue>& queue() const { return queue_; }

    /// Begins to listen, or goes on. A device that does not exist or cannot be served is logged at level 4,
    /// and nothing is captured.
    void start();

    /// Ends IO, if it runs, and listens no more. The context's `didStopIO` comes soon after.
    void stop();

  private:
    class IO;

    LMNSystem& system_;
    const LMNTapConfig config_;
    const std::shared_ptr<LMNDispatchQueue> queue_;
    std::weak_ptr<LMNTapDelegate> delegate_;
    std::shared_ptr<IO> io_; // shared with the IO queue
};

} // namespace lmn
