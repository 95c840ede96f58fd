// SPDX-License-Identifier: MIT
#include "platform/lmn/LMNSessionRunner.h"

#include "platform/lmn/LMNSystem.h"

#include <utility>

namespace lmn {

/// One session, from a start to the stop after it, on the IO queue.
class LMNSessionRunner::Cycle final : public PacedIO {
  public:
    Cycle(std::weak_ptr<LMNSessionRunner> runner, std::shared_ptr<Switch> runnerSwitch, std::uint64_t session)
        : runner_(std::move(runner)), switch_(std::move(runnerSwitch)), session_(session) {}

    bool perform(std::uint64_t, dispatch::HostTime due) override {
        const auto runner = runner_.lock();
        if (!runner || !isCurrent())
            return false;
        return runner->queue_->dispatchSyncImmed([&] {
            const dispatch::CycleScope cycle(due);
            const auto delegate = runner->delegate_.lock();
            if (delegate && isCurrent())
                delegate->performIOCycle(*runner,
                                         std::exchange(sampleTime_, sampleTime_ + runner->frameCount_));
        });
    }

  private:
    bool isCurrent() const { return switch_->load() == session_; }

    const std::weak_ptr<LMNSessionRunner> runner_;
    const std::shared_ptr<Switch> switch_;
    const std::uint64_t session_;
    std::int64_t sampleTime_ = 0;
};

LMNSessionRunner::LMNSessionRunner(LMNSystem& system, std::shared_ptr<LMNDispatchQueue> queue,
                                   std::uint32_t frameCount, double sampleRate)
    : system_(system), queue_(std::move(queue)), frameCount_(frameCount), sampleRate_(sampleRate) {}

void LMNSessionRunner::start() {
    const dispatch::LockGuard guard(turning_);
    if (isRunning())
        return;
    const std::uint64_t session = switch_->fetch_add(1) + 1;
    queue_->queue().async([self = shared_from_this()] {
        if (const auto delegate = self->delegate_.lock())
            delegate->sessionRunnerDidStart(*self, self->frameCount_, self->sampleRate_);
    });
    auto join = [&system = system_, frameCount = frameCount_, sampleRate = sampleRate_,
                 cycle = std::make_shared<Cycle>(weak_from_this(), switch_, session)] {
        system.pacer(frameCount, sampleRate).add(LMNPacer::Stage::render, cycle);
    };
    if (system_.ioQueue().isCurrent()) // started by a tap's IO: the cycles begin in the same period
        join();
    else
        system_.ioQueue().async(std::move(join));
}

void LMNSessionRunner::stop() {
    const dispatch::LockGuard guard(turning_);
    if (!isRunning())
        return;
    switch_->fetch_add(1);
    queue_->queue().async([self = shared_from_this()] {
        if (const auto delegate = self->delegate_.lock())
            delegate->sessionRunnerDidStop(*self);
    });
}

} // namespace lmn
