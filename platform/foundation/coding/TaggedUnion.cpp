// SPDX-License-Identifier: MIT
#include "platform/foundation/coding/TaggedUnion.h"

#include "platform/foundation/coding/DecodingError.h"

#include <algorithm>

namespace foundation {

boost::json::value encodeTaggedUnion(std::string_view caseName, boost::json::value fields) {
    boost::json::object coded;
    coded.emplace(caseName, std::move(fields));
    return coded;
}

std::size_t recognisedCase(const ObjectReader& object, std::span<const std::string_view> caseNames) {
    const auto isKey = [&](std::string_view name) { return object.find(name) != nullptr; };
    const auto first = std::ranges::find_if(caseNames, isKey);
    if (first == caseNames.end() || std::any_of(first + 1, caseNames.end(), isKey))
        throw DecodingError(DecodingError::Kind::typeMismatch, object.path(),
                            "Invalid number of keys found, expected one.");
    return static_cast<std::size_t>(first - caseNames.begin());
}

} // namespace foundation
