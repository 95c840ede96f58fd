// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/coding/Data.h"

#include <filesystem>
#include <optional>

namespace orbctl {

/// Larger pictures are not shown: whoever looks reads them at each change.
inline constexpr std::size_t largestCoverArt = 1024 * 1024; // bytes

/// The picture that a FLAC, MP3 or Ogg Vorbis file carries, as the bytes of a picture file: its front cover,
/// else its first one; nullopt when there is none that can be shown. Any thread.
std::optional<foundation::Data> coverArt(const std::filesystem::path& file);

} // namespace orbctl
