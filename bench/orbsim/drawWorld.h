// SPDX-License-Identifier: MIT
#pragma once

#include "bench/orbsim/World.h"

#include <cstdint>

namespace orbsim {

/// A world of that seed; the same one each time.
World drawWorld(std::uint64_t seed);

} // namespace orbsim
