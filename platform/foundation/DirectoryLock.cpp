// SPDX-License-Identifier: MIT
#include "platform/foundation/DirectoryLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <system_error>

namespace foundation {

DirectoryLock::DirectoryLock(const RuntimeDirectory& directory)
    : descriptor_(openat(directory.descriptor(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    while (!descriptor_ || flock(descriptor_.get(), LOCK_EX) != 0) {
        if (!descriptor_ || errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), directory.path().string());
        }
    }
}

DirectoryLock::~DirectoryLock() {
    flock(descriptor_.get(), LOCK_UN); // also of a copy that a fork has taken along
}

} // namespace foundation
