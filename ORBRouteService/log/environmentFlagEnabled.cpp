// SPDX-License-Identifier: MIT
#include "ORBRouteService/log/environmentFlagEnabled.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>

namespace orb {
namespace {

constexpr std::string_view whiteSpace = " \t\n\v\f\r";

char lowerCased(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

} // namespace

bool environmentFlagEnabled(const std::string& name) {
    constexpr std::array<std::string_view, 4> switchedOn{"1", "true", "yes", "on"};
    const char* found = std::getenv(name.c_str());
    if (found == nullptr)
        return false;
    const std::string_view text(found);
    const std::size_t first = text.find_first_not_of(whiteSpace);
    if (first == std::string_view::npos)
        return false;
    std::string value(text.substr(first, text.find_last_not_of(whiteSpace) - first + 1));
    std::ranges::transform(value, value.begin(), lowerCased);
    return std::ranges::find(switchedOn, value) != switchedOn.end();
}

} // namespace orb
