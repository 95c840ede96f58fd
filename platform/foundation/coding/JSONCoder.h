// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/coding/Coding.h"
#include "platform/foundation/coding/DecodingError.h"

#include <boost/json/monotonic_resource.hpp>
#include <boost/json/serialize.hpp>

#include <cstddef>
#include <string>
#include <string_view>

namespace foundation {

/// A JSON text taken apart once, to be read as one type or another. The text may come from anybody: it must
/// be UTF-8 and one value with nothing after it; of equal keys the last counts. Nested no deeper than
/// `maximumDepth`, it takes little stack; its memory is at most some thirty times its length and is given
/// back at once. Any thread.
class JSONDocument {
  public:
    static constexpr std::size_t maximumDepth = 512;

    /// Throws DecodingError (data corrupted).
    explicit JSONDocument(std::string_view text);
    JSONDocument(const JSONDocument&) = delete;
    JSONDocument& operator=(const JSONDocument&) = delete;

    /// Throws DecodingError.
    template <Codable T>
    T as() const {
        return Coding<T>::decode(root_, CodingPath());
    }

  private:
    boost::json::monotonic_resource memory_; // of the root, which must go first
    boost::json::value root_;
};

/// Compact: no white space between tokens.
template <Codable T>
std::string encodeJSON(const T& value) {
    return boost::json::serialize(Coding<T>::encode(value));
}

/// Throws DecodingError.
template <Codable T>
T decodeJSON(std::string_view text) {
    return JSONDocument(text).as<T>();
}

} // namespace foundation
