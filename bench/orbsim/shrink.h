// SPDX-License-Identifier: MIT
#pragma once

#include "bench/orbsim/World.h"

#include <cstddef>
#include <functional>

namespace orbsim {

/// Leaves out of a world what does not matter: events, receivers that nobody names, the ways of the others.
/// `stillFails` tells whether a smaller world fails in the same way; it is asked at most `attempts` times.
World shrink(World world, const std::function<bool(const World&)>& stillFails, std::size_t attempts);

} // namespace orbsim
