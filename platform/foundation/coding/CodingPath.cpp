// SPDX-License-Identifier: MIT
#include "platform/foundation/coding/CodingPath.h"

#include <fmt/format.h>

namespace foundation {

std::string CodingPath::text() const {
    if (parent_ == nullptr)
        return {};
    std::string text = parent_->text();
    if (key_.data() == nullptr)
        return fmt::format("{}[{}]", text, index_);
    return text.empty() ? std::string(key_) : fmt::format("{}.{}", text, key_);
}

} // namespace foundation
