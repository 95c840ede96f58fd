// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/coding/JSONCoder.h"

#include <string>
#include <string_view>

namespace foundation {

/// What reading `text` as a T fails with; "read" when it does not.
template <Codable T>
std::string decodingFailure(std::string_view text) {
    try {
        decodeJSON<T>(text);
        return "read";
    } catch (const DecodingError& error) {
        return error.what();
    }
}

} // namespace foundation
