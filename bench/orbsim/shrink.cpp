// SPDX-License-Identifier: MIT
#include "bench/orbsim/shrink.h"

#include <algorithm>
#include <utility>

namespace orbsim {
namespace {

/// Of timers in a world where they matter least, s.
constexpr double leastLateness = 1e-5;

bool names(const Action& action, std::int32_t receiver) {
    return std::visit(
        [&](const auto& done) {
            if constexpr (requires { done.receivers; }) {
                return std::ranges::find(done.receivers, receiver) != done.receivers.end();
            } else if constexpr (requires { done.receiver; }) {
                return done.receiver == receiver;
            } else {
                return false;
            }
        },
        action);
}

class Shrinking {
  public:
    Shrinking(World world, const std::function<bool(const World&)>& stillFails, std::size_t attempts)
        : world_(std::move(world)), stillFails_(stillFails), attempts_(attempts) {}

    World run() {
        for (std::size_t size = std::max<std::size_t>(1, world_.events.size() / 2); size > 0; size /= 2) {
            leaveOutEvents(size);
        }
        leaveOutReceivers();
        calmReceivers();
        calmWorld();
        return std::move(world_);
    }

  private:
    bool accept(World smaller) {
        if (attempts_ == 0) {
            return false;
        }
        --attempts_;
        if (!stillFails_(smaller)) {
            return false;
        }
        world_ = std::move(smaller);
        return true;
    }

    void leaveOutEvents(std::size_t size) {
        for (std::size_t begin = 0; begin < world_.events.size();) {
            World smaller = world_;
            const auto from = smaller.events.begin() + static_cast<std::ptrdiff_t>(begin);
            const auto count = std::min(size, smaller.events.size() - begin);
            smaller.events.erase(from, from + static_cast<std::ptrdiff_t>(count));
            if (!accept(std::move(smaller))) {
                begin += size;
            }
        }
    }

    /// From the end, as events tell receivers by their places; the first one is needed by every world.
    void leaveOutReceivers() {
        while (world_.receivers.size() > 1) {
            const auto last = static_cast<std::int32_t>(world_.receivers.size() - 1);
            World smaller = world_;
            smaller.receivers.pop_back();
            const bool isNamed = std::ranges::any_of(
                world_.events, [&](const Event& event) { return names(event.action, last); });
            if (isNamed || !accept(std::move(smaller))) {
                return;
            }
        }
    }

    void calmWorld() {
        World calmer = world_;
        calmer.isGrouped = false;
        accept(calmer);
        calmer = world_;
        calmer.parentArrives = 0;
        accept(calmer);
        calmer = world_;
        calmer.timerLateness = leastLateness;
        accept(std::move(calmer));
    }

    void calmReceivers() {
        for (std::size_t receiver = 0; receiver < world_.receivers.size(); ++receiver) {
            World calmer = world_;
            ReceiverEntry calm;
            for (const char* key : {"name", "id", "txt"}) {
                calm[key] = calmer.receivers[receiver].at(key);
            }
            if (calm != calmer.receivers[receiver]) {
                calmer.receivers[receiver] = std::move(calm);
                accept(std::move(calmer));
            }
        }
    }

    World world_;
    const std::function<bool(const World&)>& stillFails_;
    std::size_t attempts_;
};

} // namespace

World shrink(World world, const std::function<bool(const World&)>& stillFails, std::size_t attempts) {
    return Shrinking(std::move(world), stillFails, attempts).run();
}

} // namespace orbsim
