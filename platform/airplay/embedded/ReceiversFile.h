// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/embedded/ReceiverEntry.h"
#include "platform/airplay/embedded/ReceiversFileError.h"

#include <cstddef>
#include <filesystem>
#include <string_view>
#include <vector>

namespace airplay {

/// The receivers of a machine without any: a JSON file (UTF-8, no comments), at most 1 MiB.
///
///     {"version": 1,
///      "receivers": [
///        {"name": "Kitchen", "id": "A1:B2:C3:D4:E5:F6",
///         "file": "kitchen.wav",
///         "txt": {"model": "Speaker1,1", "pk": {"base64": "3q2+7w=="}},
///         "volume": 0.5,
///         "connectDelay": 0.25,
///         "code": "1234",
///         "answers": [{"after": 2, "text": "1243"}, {"after": 1.5, "text": "1234"}]}]}
///
/// Both keys are required, and of an entry the first two; the others are absent for their defaults. At most
/// 256 entries. Other keys, keys given twice, and null are errors.
///
/// - `name`: a text of 1 to 63 bytes, as fits a DNS label.
/// - `id`: six pairs of hexadecimal digits with colons, unique in the file whatever their case.
/// - `row`: a text of 1 to 255 bytes, under which a picker shows it together with others.
/// - `file`: a path, unique in the file; a relative one starts at the directory of the receivers file.
///   Absent: the sound is not kept.
/// - `txt`: the receiver's DNS service record by key: a text, or any bytes as {"base64": ...}. Keys are
///   printable ASCII without "=", no two alike but for case; key and value together at most 254 bytes.
/// - `volume`: from 0 to 1. Absent: 1.
/// - `discoveryDelay`, `connectDelay`, `disconnectDelay`, `lostAfter`: seconds from 0 to 3600; see
///   ReceiverBehaviour. Absent: 0, and never for the last.
/// - `password` or `code`: what it asks for, 1 to 255 bytes.
/// - `answers`: at most 16 of {"after": s, "text": ...} or {"after": s, "dismiss": true}: what the user does
///   at each question of an attempt; beyond them a question is left alone.
/// - `outcome`: "connects" (absent), "refuses", "never", "vanishes".
/// - `connectsAs`: any of `name`, `id` and `txt`, in which what turns up differs; its `id` may be anyone's.
class ReceiversFile {
  public:
    static constexpr std::size_t maximumReceivers = 256;
    static constexpr std::size_t maximumSize = 1024 * 1024; ///< bytes

    /// Where the receivers of this machine are described: `$ORB_RECEIVERS_FILE`, else `receivers.json` beside
    /// the preferences.
    static std::filesystem::path standardPath();

    /// Throws ReceiversFileError, also when there is no such file.
    static std::vector<ReceiverEntry> read(const std::filesystem::path& path);

    /// The entries of a file with this content; `path` stands in errors and is where relative paths start.
    /// Throws ReceiversFileError.
    static std::vector<ReceiverEntry> parse(std::string_view text, const std::filesystem::path& path);
};

} // namespace airplay
