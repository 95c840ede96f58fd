// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <string>

namespace foundation {

/// What an error carries for those who show it, by key.
using ErrorUserInfo = std::map<std::string, std::string>;

/// The key of the text for people.
inline constexpr const char* NSLocalizedDescriptionKey = "NSLocalizedDescription";

} // namespace foundation
