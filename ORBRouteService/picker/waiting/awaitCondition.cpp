// SPDX-License-Identifier: MIT
#include "ORBRouteService/picker/waiting/awaitCondition.h"

#include <utility>

namespace orb {
namespace {

/// The state is over: the one value that a condition's wait can have.
struct Over {};

dispatch::Task<std::optional<Over>> ask(const std::function<dispatch::Task<bool>()>& condition) {
    const bool holds = co_await condition();
    co_return holds ? std::nullopt : std::optional<Over>(Over{});
}

} // namespace

dispatch::Task<> awaitCondition(WaitLimits limits, std::function<dispatch::Task<bool>()> condition) {
    const std::function<dispatch::Task<std::optional<Over>>()> body = [&condition] { return ask(condition); };
    co_await awaitResult(std::move(limits), body);
}

} // namespace orb
