// SPDX-License-Identifier: MIT
#include "platform/foundation/FileLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <system_error>

namespace foundation {

FileLock::FileLock(const std::filesystem::path& path)
    : descriptor_(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR)) {
    if (!descriptor_) {
        throw std::system_error(errno, std::generic_category(), path.string());
    }
    while (flock(descriptor_.get(), LOCK_EX) != 0) {
        if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), path.string());
        }
    }
}

} // namespace foundation
