// SPDX-License-Identifier: MIT
#pragma once

#include "platform/lmn/LMNDispatchQueue.h"

#include <atomic>
#include <cstdint>
#include <memory>

namespace lmn {

class LMNSessionRunner;
class LMNSystem;

/// What a session runner drives. Called on the runner's queue.
class LMNSessionRunnerDelegate {
  public:
    virtual ~LMNSessionRunnerDelegate() = default;
    virtual void sessionRunnerDidStart(LMNSessionRunner& runner, std::uint32_t frameCount,
                                       double sampleRate) = 0;
    virtual void sessionRunnerDidStop(LMNSessionRunner& runner) = 0;

    /// Once per cycle. `sampleTime` counts frames from the runner's start. Real-time.
    virtual void performIOCycle(LMNSessionRunner& runner, std::int64_t sampleTime) = 0;
};

/// A periodic IO cycle on a queue, paced by the clock that also paces the taps: in each period the taps come
/// first. Shared by its owner and the IO contexts that start and stop it; `start`, `stop` and `isRunning`
/// from any thread.
class LMNSessionRunner : public std::enable_shared_from_this<LMNSessionRunner> {
  public:
    LMNSessionRunner(LMNSystem& system, std::shared_ptr<LMNDispatchQueue> queue, std::uint32_t frameCount,
                     double sampleRate);

    std::uint32_t frameCount() const { return frameCount_; }
    double sampleRate() const { return sampleRate_; }

    /// Before the first start.
    void setDelegate(std::weak_ptr<LMNSessionRunnerDelegate> delegate) { delegate_ = std::move(delegate); }

    bool isRunning() const { return isOn(switch_->load()); }

    /// Nothing when it runs. The delegate's `sessionRunnerDidStart` comes before the first cycle.
    void start();

    /// Nothing when it is stopped. `sessionRunnerDidStop` comes after the last cycle.
    void stop();

  private:
    class Cycle;

    /// The switch, shared with the cycles under way: counts starts and stops, so that it is odd while
    /// running. A cycle of an earlier session ends itself.
    using Switch = std::atomic<std::uint64_t>;

    static bool isOn(std::uint64_t position) { return position % 2 == 1; }

    LMNSystem& system_;
    const std::shared_ptr<LMNDispatchQueue> queue_;
    const std::uint32_t frameCount_;
    const double sampleRate_;
    std::weak_ptr<LMNSessionRunnerDelegate> delegate_;
    dispatch::Lock turning_; // who turns the switch tells the delegate before the next one turns it
    const std::shared_ptr<Switch> switch_ =
        std::make_shared<Switch>(0); // turned under the lock, read by anybody
};

} // namespace lmn
