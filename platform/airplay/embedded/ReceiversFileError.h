// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>
#include <string>

namespace airplay {

/// A receivers file that cannot be used. `what()` is "path:line:column: reason", line and column, from 1 and
/// in characters, being those of the value or key at fault; "path: reason" when the file cannot be read at
/// all. It quotes names, identifiers and keys of the file, and nothing else.
class ReceiversFileError final : public std::runtime_error {
  public:
    explicit ReceiversFileError(const std::string& what) : std::runtime_error(what) {}
};

} // namespace airplay
