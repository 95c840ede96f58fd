// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/coding/Coding.h"

#include <optional>
#include <string_view>

namespace foundation {

/// Reads the members of a JSON object by their keys. Keys nobody asks for are ignored. Refers to the value
/// and to the path, which outlive it.
class ObjectReader {
  public:
    /// Throws DecodingError when `value` is no object.
    ObjectReader(const boost::json::value& value, const CodingPath& path);
    ObjectReader(const boost::json::value& value, const CodingPath&& path) = delete;

    /// Throws DecodingError when the key is missing, or its value is not a T.
    template <Codable T>
    T required(std::string_view key) const {
        return Coding<T>::decode(requiredValue(key), path_.key(key));
    }

    /// Missing or null: nullopt. Throws DecodingError when there is something else than a T.
    template <Codable T>
    std::optional<T> optional(std::string_view key) const {
        const boost::json::value* value = find(key);
        return value == nullptr || value->is_null()
                   ? std::nullopt
                   : std::optional(Coding<T>::decode(*value, path_.key(key)));
    }

    /// nullptr when the key is missing.
    const boost::json::value* find(std::string_view key) const { return members_.if_contains(key); }

    const CodingPath& path() const { return path_; }

  private:
    const boost::json::value& requiredValue(std::string_view key) const;

    const boost::json::object& members_;
    const CodingPath& path_;
};

} // namespace foundation
