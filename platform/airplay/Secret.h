// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>

namespace airplay {

/// What a receiver asks its user for.
enum class SecretKind { password, code };

/// A password or code on its way from the user to a receiver. A value; it can be compared, and shown nowhere:
/// nothing prints it.
class Secret {
  public:
    explicit Secret(std::string text) : text_(std::move(text)) {}

    bool operator==(const Secret&) const = default;

    /// For whoever must hand it on to the receiver itself, and for nobody else.
    const std::string& reveal() const { return text_; }

  private:
    std::string text_;
};

} // namespace airplay
