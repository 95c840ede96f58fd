// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace support {

/// How often the calling thread has taken memory from operator new so far. A program that calls this has its
/// global operator new replaced by one that counts (under a sanitizer, what malloc hands out counts as well).
std::uint64_t allocationsOfThisThread();

} // namespace support
