// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Work.h"
#include "platform/foundation/FileLock.h"

#include <boost/json/value.hpp>

#include <cstddef>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace foundation {

/// A file that cannot be read, written or understood. `what()` is "path: reason", or, for malformed text,
/// "path:line:column: reason".
class JsonFileError final : public std::runtime_error {
  public:
    enum class Kind {
        unreadable, ///< the system does not let us read it, or it is no regular file
        unwritable, ///< the system does not let us write it, or nobody may (a mode without w binds root too),
                    ///< or it could not be read again
        malformed,  ///< it is no JSON, too deep, or too large
    };

    JsonFileError(Kind kind, std::filesystem::path path, const std::string& reason, std::size_t line = 0,
                  std::size_t column = 0);

    Kind kind() const { return kind_; }
    const std::filesystem::path& path() const { return path_; }

    /// From 1, columns in characters; 0 where there is no place in the text to point at.
    std::size_t line() const { return line_; }
    std::size_t column() const { return column_; }

  private:
    Kind kind_;
    std::filesystem::path path_;
    std::size_t line_;
    std::size_t column_;
};

/// How much of a file is taken in: its size in bytes, and how deep its arrays and objects are nested.
struct JsonFileLimits {
    std::size_t size = 1024 * 1024;
    std::size_t depth = 32;
};

/// A small JSON file (UTF-8, no comments) that several processes read and write. It is replaced whole, by
/// renaming, so that a reader, who takes no lock, always sees one complete version.
///
/// Writers keep each other out by `FileLock` on `<path>.lock`. They hold it only for the short
/// read-modify-write, so waiting for it simply blocks. Holds no state but the path: any thread.
class JsonFile {
  public:
    explicit JsonFile(std::filesystem::path path, JsonFileLimits limits = {});

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path lockPath() const;

    /// nullopt when there is no such file. Throws JsonFileError.
    std::optional<boost::json::value> read() const;

    /// Replaces the file, or creates it, mode 0600; on the disk before this returns. A file that nobody may
    /// write (by its mode) is left alone, although renaming would not need that right. A symbolic link is
    /// itself replaced. Takes no lock. Throws JsonFileError, also for what `read` would refuse (too large,
    /// too deep, texts that are no UTF-8); the file is then as it was.
    void replace(const boost::json::value& value) const;

    /// Makes a new value of the old one (nullopt: no file); nullopt leaves the file as it is.
    using Change =
        dispatch::FunctionRef<std::optional<boost::json::value>(std::optional<boost::json::value>)>;

    /// Reads, changes and replaces under the lock. Throws JsonFileError, and what `change` throws.
    void update(Change change) const;

    /// Keeps other writers out while it lives. Throws JsonFileError.
    FileLock lock() const;

  private:
    std::filesystem::path path_;
    JsonFileLimits limits_;
};

/// The JSON value that `text` is, real numbers to the bit; `path` stands in the error. Throws JsonFileError.
boost::json::value parseJsonText(std::string_view text, const std::filesystem::path& path,
                                 JsonFileLimits limits = {});

/// What `JsonFile::replace` writes: members of the outermost object on lines of their own, for people who
/// look in.
std::string jsonFileText(const boost::json::value& value);

} // namespace foundation
