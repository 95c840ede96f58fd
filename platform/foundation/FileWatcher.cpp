// SPDX-License-Identifier: MIT
#include "platform/foundation/FileWatcher.h"

#include <sys/inotify.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <string>
#include <system_error>
#include <utility>

namespace foundation {
namespace {

constexpr std::uint32_t watchedEvents = IN_CREATE | IN_CLOSE_WRITE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE;

/// Beyond any directory's worth of one turn; what is left makes the queue call again.
constexpr int maximumReads = 64;

std::filesystem::path directoryOf(const std::filesystem::path& file) {
    return file.has_parent_path() ? file.parent_path() : std::filesystem::path(".");
}

FileDescriptor watchDirectory(const std::filesystem::path& directory) {
    FileDescriptor descriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (!descriptor ||
        inotify_add_watch(descriptor.get(), directory.c_str(), watchedEvents | IN_ONLYDIR) < 0) {
        throw std::system_error(errno, std::generic_category(), directory.string());
    }
    return descriptor;
}

/// A regular file with one name has just been opened for writing by its creator, and will be closed; a link,
/// or anything else, is complete.
bool isCompleteWhenCreated(const std::filesystem::path& file) {
    struct stat status {};
    return lstat(file.c_str(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_nlink > 1;
}

bool tellsOfChange(const inotify_event& event, const std::filesystem::path& file) {
    if ((event.mask & (IN_Q_OVERFLOW | IN_IGNORED)) != 0) { // something was missed, or the directory is gone
        return true;
    }
    if (event.len == 0 || file.filename() != event.name) {
        return false;
    }
    return (event.mask & ~(IN_CREATE | IN_ISDIR)) != 0 || isCompleteWhenCreated(file);
}

/// Takes in what there is; whether any of it is about `file`.
bool takeEvents(int descriptor, const std::filesystem::path& file) {
    alignas(inotify_event) std::array<std::byte, 4096> buffer{};
    bool changed = false;
    for (int round = 0; round < maximumReads; ++round) {
        const ssize_t size = read(descriptor, buffer.data(), buffer.size());
        for (ssize_t offset = 0; offset < size;) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer.data() + offset);
            changed = tellsOfChange(*event, file) || changed;
            offset += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        }
        if (size <= 0) {
            break;
        }
    }
    return changed;
}

} // namespace

FileWatcher::FileWatcher(dispatch::Queue& queue, const std::filesystem::path& file,
                         std::function<void()> changed)
    : watch_(queue, watchDirectory(directoryOf(file)), [file, changed = std::move(changed)](int descriptor) {
          if (takeEvents(descriptor, file)) {
              changed();
          }
      }) {}

} // namespace foundation
