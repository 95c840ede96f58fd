// SPDX-License-Identifier: MIT
#include "ORBRouteService/picker/toolkit/AXValueMatching.h"

#include <cmath>

namespace orb {
namespace {

/// The number as an integer, where it is one.
struct ToInteger {
    std::optional<std::int64_t> operator()(std::int64_t number) const { return number; }
    std::optional<std::int64_t> operator()(bool flag) const { return flag ? 1 : 0; }
    std::optional<std::int64_t> operator()(double number) const {
        constexpr double limit = 9223372036854775808.0; // 2^63
        const bool fits = number >= -limit && number < limit && std::trunc(number) == number;
        return fits ? std::optional(static_cast<std::int64_t>(number)) : std::nullopt;
    }
    template <typename Other>
    std::optional<std::int64_t> operator()(const Other&) const {
        return std::nullopt;
    }
};

} // namespace

bool AXValueMatching::isEqualToOtherValue(const std::optional<accessibility::AXValue>& val) const {
    if (!val) {
        return false;
    }
    if (isInteger_) {
        const std::optional<std::int64_t> integer = std::visit(ToInteger{}, *val);
        return integer && std::to_string(*integer) == stringVal_;
    }
    const std::string* const text = std::get_if<std::string>(&*val);
    return text != nullptr && *text == stringVal_;
}

} // namespace orb
