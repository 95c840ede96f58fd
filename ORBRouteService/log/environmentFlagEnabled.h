// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace orb {

/// Whether the environment variable `name` is switched on: its value, without white space and line breaks at
/// both ends and in lower case, is "1", "true", "yes" or "on". Absent, empty or anything else: off.
/// Any thread, as long as none changes the environment.
bool environmentFlagEnabled(const std::string& name);

} // namespace orb
