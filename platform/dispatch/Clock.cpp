// SPDX-License-Identifier: MIT
#include "platform/dispatch/Clock.h"

namespace dispatch {
namespace {
thread_local const HostTime* currentCycleTime = nullptr;
}

HostTime Clock::cycleTime() const noexcept { return currentCycleTime != nullptr ? *currentCycleTime : now(); }

CycleScope::CycleScope(HostTime due) noexcept : outer_(currentCycleTime), due_(due) {
    currentCycleTime = &due_;
}

CycleScope::~CycleScope() { currentCycleTime = outer_; }

} // namespace dispatch
