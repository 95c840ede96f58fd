// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/DescriptorWatch.h"

#include <filesystem>
#include <functional>

namespace foundation {

/// Tells when a file changes: when it was created, replaced, closed after writing, or removed. What happened
/// before the queue gets round to it is one call; a call may also come without a difference in content, and
/// always comes after the last change. A file that is created by opening it counts once it is closed, so that
/// nobody is sent to read one half written.
/// Owned by the reader of the file. Made on any thread, destroyed on the queue or while it is not running; no
/// call begins afterwards.
class FileWatcher {
  public:
    /// The directory of `file` exists and stays; the file need not. Throws std::system_error naming it.
    FileWatcher(dispatch::Queue& queue, const std::filesystem::path& file, std::function<void()> changed);

  private:
    DescriptorWatch watch_;
};

} // namespace foundation
