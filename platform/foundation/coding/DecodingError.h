// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/coding/CodingPath.h"

#include <stdexcept>
#include <string>

namespace foundation {

/// A coded value that cannot be read as what it should be. `what()` is "type mismatch at devices[3].data:
/// Expected a text, found an integer."; without " at …" when the whole value is meant.
class DecodingError final : public std::runtime_error {
  public:
    enum class Kind {
        typeMismatch,  ///< there is a value, of another type
        keyNotFound,   ///< an object lacks a key; the path is the object's
        valueNotFound, ///< there is null where a value is needed
        dataCorrupted, ///< the type fits and the content does not; or no JSON text at all
    };

    DecodingError(Kind kind, const CodingPath& path, std::string debugDescription);

    Kind kind() const { return kind_; }

    /// As `CodingPath::text`.
    const std::string& codingPath() const { return codingPath_; }

    /// One sentence.
    const std::string& debugDescription() const { return debugDescription_; }

  private:
    DecodingError(Kind kind, std::string codingPath, std::string debugDescription);

    Kind kind_;
    std::string codingPath_;
    std::string debugDescription_;
};

} // namespace foundation
