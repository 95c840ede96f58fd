// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/coding/Data.h"

#include <optional>
#include <string>
#include <string_view>

namespace foundation {

/// The standard alphabet of RFC 4648, padded with "=", without line breaks. Any thread.
std::string base64(const Data& data);

/// Reads exactly what `base64` writes. nullopt for anything else: white space, a missing padding, the URL
/// alphabet, bits left over at the end.
std::optional<Data> dataFromBase64(std::string_view text);

} // namespace foundation
