// SPDX-License-Identifier: MIT
#include "platform/foundation/coding/JSONCoder.h"

#include <fmt/format.h>
#include <boost/json/parser.hpp>

namespace foundation {
namespace {

/// The value, living in `memory`.
boost::json::value parse(std::string_view text, boost::json::monotonic_resource& memory) {
    boost::json::parse_options options;
    options.max_depth = JSONDocument::maximumDepth;
    boost::json::parser parser({}, options);
    parser.reset(&memory);
    boost::json::error_code error;
    const std::size_t taken = parser.write(text.data(), text.size(), error);
    if (error)
        throw DecodingError(DecodingError::Kind::dataCorrupted, CodingPath(),
                            fmt::format("Not a JSON text: {} at byte {}.", error.message(), taken));
    return parser.release();
}

} // namespace

JSONDocument::JSONDocument(std::string_view text) : root_(parse(text, memory_)) {}

} // namespace foundation
