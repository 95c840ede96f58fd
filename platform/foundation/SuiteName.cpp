// SPDX-License-Identifier: MIT
#include "platform/foundation/SuiteName.h"

#include <algorithm>

namespace foundation {

std::optional<SuiteName> SuiteName::parse(std::string_view text) {
    constexpr std::size_t maximumLength = 200; // leaves room for the endings of the suite's files
    const auto refused = [](char c) { return c == '/' || (c >= 0 && c < ' ') || c == '\x7f'; };
    if (text.empty() || text.size() > maximumLength || text.front() == '.' ||
        std::ranges::any_of(text, refused)) {
        return std::nullopt;
    }
    return SuiteName(std::string(text));
}

} // namespace foundation
