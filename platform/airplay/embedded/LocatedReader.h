// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/embedded/LocatedJson.h"
#include "platform/dispatch/Clock.h"

#include <cstddef>
#include <filesystem>
#include <initializer_list>
#include <string>
#include <string_view>

namespace airplay {

/// Takes values out of a receivers file's text; what is wrong with one is thrown as ReceiversFileError with
/// its place. Text and path outlive it. Any thread.
class LocatedReader {
  public:
    using Keys = std::initializer_list<std::string_view>;

    LocatedReader(std::string_view text, const std::filesystem::path& path) : text_(text), path_(path) {}

    /// Throws, unless the condition holds, what is wrong at that byte of the text.
    void require(bool condition, std::size_t offset, const std::string& reason) const;

    /// An object with all of `required`, any of `optional`, each once, and nothing else.
    void requireKeys(const LocatedJson& object, Keys required, Keys optional) const;

    /// nullptr when the object has no such key.
    static const LocatedJson* find(const LocatedJson& object, std::string_view key);

    /// The text of a key that is there: 1 to `limit` bytes, none of them 0.
    std::string text(const LocatedJson& object, std::string_view key, std::size_t limit) const;

    /// From 0 to `limit`; `absent` where there is no such key.
    double number(const LocatedJson& object, std::string_view key, double absent, double limit) const;

    /// A time span of up to an hour, given in seconds; none where there is no such key.
    dispatch::Nanoseconds seconds(const LocatedJson& object, std::string_view key) const;

  private:
    const std::string_view text_;
    const std::filesystem::path& path_;
};

} // namespace airplay
