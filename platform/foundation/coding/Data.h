// SPDX-License-Identifier: MIT
#pragma once

#include <compare>
#include <string>

namespace foundation {

/// A byte string, as opposed to text. Coded as Base64.
struct Data {
    std::string bytes;

    bool operator==(const Data&) const = default;
    std::strong_ordering operator<=>(const Data&) const = default;
};

} // namespace foundation
