// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/FileDescriptor.h"
#include "platform/foundation/RuntimeDirectory.h"

namespace foundation {

/// Keeps others from changing the sockets of a directory while it lives. A lock of the directory itself, on
/// an open file of its own: threads of one process exclude each other as well, and nothing is left behind.
class [[nodiscard]] DirectoryLock {
  public:
    /// Waits for the lock. Throws std::system_error naming the directory.
    explicit DirectoryLock(const RuntimeDirectory& directory);
    ~DirectoryLock();
    DirectoryLock(const DirectoryLock&) = delete;
    DirectoryLock& operator=(const DirectoryLock&) = delete;

  private:
    FileDescriptor descriptor_;
};

} // namespace foundation
