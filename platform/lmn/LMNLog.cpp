// SPDX-License-Identifier: MIT
#include "platform/lmn/LMNLog.h"

#include <atomic>

namespace lmn {
namespace {
std::atomic<LMNLogTarget*> installedTarget{nullptr}; // set by the composition root, read by everybody
}

void LMNLog(LMNLogLevel level, std::string_view text) noexcept {
    if (LMNLogTarget* target = installedTarget.load())
        target->write(level, text);
}

LMNLogInstallation::LMNLogInstallation(LMNLogTarget& target) noexcept
    : outer_(installedTarget.exchange(&target)) {}

LMNLogInstallation::~LMNLogInstallation() { installedTarget.store(outer_); }

} // namespace lmn
