// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/coding/Coding.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace foundation {

/// An absolute URL (RFC 3986). Coded as its text. A value; any thread.
class URL {
  public:
    /// nullopt unless it is one.
    static std::optional<URL> fromString(std::string_view text);

    /// The `file:` URL of an absolute path; a directory's ends in a slash.
    static URL forFile(const std::filesystem::path& path);

    const std::string& absoluteString() const { return text_; }

    /// The path of a `file:` URL on this machine.
    std::optional<std::filesystem::path> filePath() const;

    bool operator==(const URL&) const = default;

  private:
    explicit URL(std::string text) : text_(std::move(text)) {}

    std::string text_;
};

template <>
struct Coding<URL> {
    static boost::json::value encode(const URL& url);
    static URL decode(const boost::json::value& coded, const CodingPath& path);
};

} // namespace foundation
