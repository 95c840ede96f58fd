// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace foundation {

/// A name that a suite of preferences can have: a file name stem of 1 to 200 bytes, without '/' and control
/// characters, and not beginning with a dot.
class SuiteName {
  public:
    /// nullopt when `text` is no such name.
    static std::optional<SuiteName> parse(std::string_view text);

    const std::string& text() const { return text_; }

  private:
    explicit SuiteName(std::string text) : text_(std::move(text)) {}

    std::string text_;
};

} // namespace foundation
