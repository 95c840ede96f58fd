// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/Receiver.h"

#include <cstddef>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace airplay {

/// A receivers file that cannot be used. `what()` is "path:line:column: reason", line and column, from 1 and
/// in characters, being those of the value or key at fault; "path: reason" when the file cannot be read at
/// all.
class ReceiversFileError final : public std::runtime_error {
  public:
    explicit ReceiversFileError(const std::string& what) : std::runtime_error(what) {}
};

/// One entry of a receivers file.
struct ReceiverEntry {
    ReceiverDescription description;
    std::optional<std::filesystem::path> file; ///< where its sound is stored; nullopt: nowhere
    float volume = 1;
    dispatch::Nanoseconds connectDelay{}; ///< from the request to the connection
};

/// The receivers of a machine without any: a JSON file (UTF-8, no comments).
///
///     {"version": 1,
///      "receivers": [
///        {"name": "Kitchen",
///         "id": "A1:B2:C3:D4:E5:F6",
///         "file": "kitchen.wav",
///         "txt": {"deviceid": "A1:B2:C3:D4:E5:F6", "model": "Speaker1,1"},
///         "volume": 0.5,
///         "connectDelay": 0.25}]}
///
/// - `version`: 1; required.
/// - `receivers`: at most 256 entries; required.
/// - `name`: a text of 1 to 63 bytes, as fits a DNS label; required.
/// - `id`: six pairs of hexadecimal digits with colons, unique in the file whatever their case; required.
/// - `file`: a path, unique in the file; a relative one starts at the directory of the receivers file.
/// Absent: the
///   sound is not kept.
/// - `txt`: the receiver's DNS service record, texts by key. Keys are printable ASCII without "=", no two
/// alike but
///   for case; key and value have together at most 254 bytes. Absent: empty.
/// - `volume`: from 0 to 1. Absent: 1.
/// - `connectDelay`: seconds from 0 to 3600. Absent: 0.
///
/// Other keys, keys given twice, and null are errors.
class ReceiversFile {
  public:
    static constexpr std::size_t maximumReceivers = 256;
    static constexpr std::size_t maximumSize = 1024 * 1024; ///< bytes

    /// Throws ReceiversFileError, also when there is no such file.
    static std::vector<ReceiverEntry> read(const std::filesystem::path& path);

    /// The entries of a file with this content; `path` stands in errors and is where relative paths start.
    /// Throws ReceiversFileError.
    static std::vector<ReceiverEntry> parse(std::string_view text, const std::filesystem::path& path);
};

} // namespace airplay
