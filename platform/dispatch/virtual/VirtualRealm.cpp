// SPDX-License-Identifier: MIT
#include "platform/dispatch/virtual/VirtualRealm.h"

#include "platform/dispatch/Check.h"
#include "platform/dispatch/Signal.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace dispatch {

/// A share of the realm's one thread.
class VirtualQueue final : public Queue {
  public:
    VirtualQueue(std::string label, VirtualRealm& realm) : Queue(std::move(label)), realm_(realm) {}

    ~VirtualQueue() override {
        // Sockets that were closed before the queue still have their last completions on the way to it.
        realm_.io_.restart();
        realm_.io_.poll();
        std::erase_if(realm_.ready_, [this](const auto& entry) { return entry.queue == this; });
    }

    void async(Work work) override {
        if (!cancelled_)
            realm_.ready_.push_back({this, std::move(work)});
    }

    bool sync(FunctionRef<void()> work) override {
        ORB_CHECK(!*running_, "queue \"{}\" is waited for by work that it waits for", label());
        runWaiting();
        if (cancelled_)
            return false;
        run(work);
        return true;
    }

    void cancel() override { cancelled_ = true; }
    int setRealTime() override { return 0; }
    const Clock& clock() const override { return realm_.clock_; }
    boost::asio::io_context& ioContext() override { return realm_.io_; }

    template <typename Callable>
    void run(Callable& work) {
        if (cancelled_)
            return;
        const CurrentScope scope(this);
        const RunningScope running(running_);
        work();
    }

  private:
    /// While it lives, work of the queue is running. The work may destroy the queue, or throw.
    class RunningScope {
      public:
        explicit RunningScope(std::shared_ptr<bool> running)
            : running_(std::move(running)), outer_(std::exchange(*running_, true)) {}
        ~RunningScope() { *running_ = outer_; }
        RunningScope(const RunningScope&) = delete;
        RunningScope& operator=(const RunningScope&) = delete;

      private:
        const std::shared_ptr<bool> running_;
        const bool outer_;
    };

    /// A synchronous call takes its turn behind what was handed in before it.
    void runWaiting() {
        for (;;) {
            const auto mine = std::ranges::find(realm_.ready_, this, &VirtualRealm::Ready::queue);
            if (mine == realm_.ready_.end())
                return;
            Work work = std::move(mine->work);
            realm_.ready_.erase(mine);
            run(work);
        }
    }

    TimerHeap& timers() override { return realm_.timers_; }
    void timersChanged() override {}
    void deliver(Signal& signal) noexcept override {
        async([state = signal.state()] { state->run(); });
    }

    VirtualRealm& realm_;
    const std::shared_ptr<bool> running_ = std::make_shared<bool>(false);
    bool cancelled_ = false;
};

VirtualRealm::VirtualRealm(Date wallStart) : mainQueue_(std::make_unique<VirtualQueue>("main", *this)) {
    clock_.wallOffset = wallStart.time_since_epoch() - clock_.time.time_since_epoch();
}

VirtualRealm::~VirtualRealm() = default;

Queue& VirtualRealm::mainQueue() { return *mainQueue_; }

std::unique_ptr<Queue> VirtualRealm::makeQueue(std::string label) {
    return std::make_unique<VirtualQueue>(std::move(label), *this);
}

std::shared_ptr<void> VirtualRealm::awaitOutside(std::string what, std::function<bool()> settled) {
    debts_.push_back({std::move(what), std::move(settled)});
    return {&debts_.back(),
            [this](Debt* debt) { debts_.remove_if([debt](const Debt& d) { return &d == debt; }); }};
}

void VirtualRealm::runReady() {
    while (!ready_.empty()) {
        Ready next = std::move(ready_.front());
        ready_.pop_front();
        next.queue->run(next.work);
    }
}

void VirtualRealm::settle() {
    do {
        runReady();
        io_.restart();
        io_.poll();
    } while (!ready_.empty() || fireOneDueTimer());
}

bool VirtualRealm::fireOneDueTimer() {
    Timer* due = timers_.takeDue(clock_.time - timerLateness_);
    if (due == nullptr)
        return false;
    auto fire = [due] { due->fire(); };
    static_cast<VirtualQueue&>(due->queue()).run(fire);
    return true;
}

const VirtualRealm::Debt* VirtualRealm::firstDebt() const {
    const auto open = std::ranges::find_if(debts_, [](const Debt& debt) { return !debt.settled(); });
    return open != debts_.end() ? &*open : nullptr;
}

void VirtualRealm::waitForOutside() {
    while (const Debt* debt = firstDebt()) {
        io_.restart();
        if (io_.run_one_for(outsidePatience) == 0 && ready_.empty())
            throw std::runtime_error("virtual time stands still: still waiting for " + debt->what);
        settle();
    }
}

void VirtualRealm::advanceBy(Nanoseconds duration) {
    const HostTime target = clock_.time + duration;
    advanceUntil([] { return false; }, duration);
    clock_.time = target;
}

bool VirtualRealm::advanceUntil(FunctionRef<bool()> done, Nanoseconds limit) {
    const HostTime end = clock_.time + limit;
    for (;;) {
        settle();
        waitForOutside();
        if (done())
            return true;
        const std::optional<HostTime> next = timers_.nextDeadline();
        if (!next || *next + timerLateness_ > end)
            return false;
        clock_.time = std::max(clock_.time, *next + timerLateness_);
    }
}

} // namespace dispatch
