// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

namespace orb {

/// Whether the bytes are well-formed UTF-8. Any thread.
bool isUTF8(std::string_view bytes);

} // namespace orb
