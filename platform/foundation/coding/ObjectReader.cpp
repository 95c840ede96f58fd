// SPDX-License-Identifier: MIT
#include "platform/foundation/coding/ObjectReader.h"

#include "platform/foundation/coding/DecodingError.h"

#include <fmt/format.h>

namespace foundation {
namespace {

const boost::json::object& membersOf(const boost::json::value& value, const CodingPath& path) {
    const boost::json::object* members = value.if_object();
    if (members == nullptr)
        throwUnexpected(value, path, "an object");
    return *members;
}

} // namespace

ObjectReader::ObjectReader(const boost::json::value& value, const CodingPath& path)
    : members_(membersOf(value, path)), path_(path) {}

const boost::json::value& ObjectReader::requiredValue(std::string_view key) const {
    const boost::json::value* value = find(key);
    if (value == nullptr)
        throw DecodingError(DecodingError::Kind::keyNotFound, path_,
                            fmt::format("No value for the key \"{}\".", key));
    return *value;
}

} // namespace foundation
