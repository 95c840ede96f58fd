// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/FileDescriptor.h"

#include <filesystem>

namespace foundation {

/// Keeps other processes, and other threads of this one, out of a short piece of work on a file, as long as
/// they take the lock as well. The lock is a file of its own that stays: one that is replaced cannot be
/// locked. It ends with the process that holds it.
class [[nodiscard]] FileLock {
  public:
    /// Creates `path` if need be, mode 0600, and waits for the lock. Throws std::system_error naming `path`.
    explicit FileLock(const std::filesystem::path& path);

  private:
    FileDescriptor descriptor_;
};

} // namespace foundation
