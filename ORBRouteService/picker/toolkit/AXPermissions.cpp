// SPDX-License-Identifier: MIT
#include "ORBRouteService/picker/toolkit/AXPermissions.h"

namespace orb {
namespace {

constexpr dispatch::Nanoseconds pollInterval = std::chrono::seconds(1);

} // namespace

dispatch::Task<> AXPermissions::AXProcessGetPermissions() {
    using Prompt = accessibility::Accessibility::Prompt;
    if (!accessibilityTrustConfirmed_ && !platform_.isProcessTrustedWithOptions(Prompt::show)) {
        throw AXError(AXError::Code::accessibilityProcessNotTrusted);
    }
    accessibilityTrustConfirmed_ = true;
    while (!platform_.isProcessTrusted()) {
        co_await dispatch::sleepFor(pollInterval);
    }
}

} // namespace orb
