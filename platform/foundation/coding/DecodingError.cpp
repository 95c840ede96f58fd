// SPDX-License-Identifier: MIT
#include "platform/foundation/coding/DecodingError.h"

#include <fmt/format.h>

#include <utility>

namespace foundation {
namespace {

const char* nameOf(DecodingError::Kind kind) {
    switch (kind) {
        case DecodingError::Kind::typeMismatch:
            return "type mismatch";
        case DecodingError::Kind::keyNotFound:
            return "key not found";
        case DecodingError::Kind::valueNotFound:
            return "value not found";
        case DecodingError::Kind::dataCorrupted:
            return "data corrupted";
    }
    return "error";
}

} // namespace

DecodingError::DecodingError(Kind kind, const CodingPath& path, std::string debugDescription)
    : DecodingError(kind, path.text(), std::move(debugDescription)) {}

DecodingError::DecodingError(Kind kind, std::string codingPath, std::string debugDescription)
    : std::runtime_error(fmt::format("{}{}{}: {}", nameOf(kind), codingPath.empty() ? "" : " at ", codingPath,
                                     debugDescription)),
      kind_(kind),
      codingPath_(std::move(codingPath)),
      debugDescription_(std::move(debugDescription)) {}

} // namespace foundation
