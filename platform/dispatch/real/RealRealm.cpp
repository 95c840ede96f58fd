// SPDX-License-Identifier: MIT
#include "platform/dispatch/real/RealRealm.h"

#include "platform/dispatch/real/RealQueue.h"

#include <utility>

namespace dispatch {
namespace {

class MonotonicClock final : public Clock {
  public:
    HostTime now() const noexcept override {
        return HostTime{std::chrono::steady_clock::now().time_since_epoch()};
    }
    Date wallNow() const noexcept override { return std::chrono::system_clock::now(); }
};

} // namespace

RealRealm::RealRealm()
    : clock_(std::make_unique<MonotonicClock>()),
      mainQueue_(std::make_unique<RealQueue>("main", *clock_, RealQueue::Runs::onCaller, retired_)) {}

RealRealm::~RealRealm() { retired_.join(); }

Queue& RealRealm::mainQueue() { return *mainQueue_; }

std::unique_ptr<Queue> RealRealm::makeQueue(std::string label) {
    return std::make_unique<RealQueue>(std::move(label), *clock_, RealQueue::Runs::onOwnThread, retired_);
}

std::shared_ptr<void> RealRealm::awaitOutside(std::string, std::function<bool()>) { return nullptr; }

void RealRealm::run() { mainQueue_->run(); }

void RealRealm::stop() { mainQueue_->stop(); }

} // namespace dispatch
