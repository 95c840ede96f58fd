// SPDX-License-Identifier: MIT
#pragma once

#include "platform/accessibility/AXUIElement.h"

#include <cstdint>
#include <optional>
#include <string>

namespace orb {

/// A text or an integer that the value of an attribute can be compared with. A value; any thread.
class AXValueMatching {
  public:
    explicit AXValueMatching(std::string text) : stringVal_(std::move(text)), isInteger_(false) {}
    explicit AXValueMatching(std::int64_t integer) : stringVal_(std::to_string(integer)), isInteger_(true) {}

    /// The text, or the integer in decimal digits.
    const std::string& stringVal() const { return stringVal_; }

    /// An integer equals numbers of the same value, a text equals the same text.
    bool isEqualToOtherValue(const std::optional<accessibility::AXValue>& val) const;

  private:
    std::string stringVal_;
    bool isInteger_;
};

} // namespace orb
