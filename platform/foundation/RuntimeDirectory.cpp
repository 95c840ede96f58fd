// SPDX-License-Identifier: MIT
#include "platform/foundation/RuntimeDirectory.h"

#include "platform/foundation/PathName.h"

#include <fmt/format.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace foundation {
namespace {

std::string reasonOf(int error) { return std::generic_category().message(error); }

/// Why the thing that could not be opened as a directory could not.
std::string whyNotOpened(int parent, const char* name, int error) {
    struct stat status {};
    if (fstatat(parent, name, &status, AT_SYMLINK_NOFOLLOW) == 0) {
        if (S_ISLNK(status.st_mode)) {
            return "is a symbolic link";
        }
        if (!S_ISDIR(status.st_mode)) {
            return "is not a directory";
        }
    }
    return reasonOf(error);
}

void judge(int descriptor, const std::filesystem::path& path) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0) {
        throw RuntimeDirectoryError(path, reasonOf(errno));
    }
    if (status.st_uid != geteuid()) {
        throw RuntimeDirectoryError(
            path, fmt::format("is owned by user {}, not by user {}", status.st_uid, geteuid()));
    }
    if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        throw RuntimeDirectoryError(
            path, fmt::format("is open to others (mode {:04o}, must be 0700)", status.st_mode & 07777));
    }
}

FileDescriptor openOwn(int parent, const char* name, const std::filesystem::path& path) {
    if (mkdirat(parent, name, S_IRWXU) != 0 && errno != EEXIST) {
        throw RuntimeDirectoryError(path, reasonOf(errno));
    }
    FileDescriptor descriptor(openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!descriptor) {
        throw RuntimeDirectoryError(path, whyNotOpened(parent, name, errno));
    }
    judge(descriptor.get(), path);
    return descriptor;
}

/// Without a slash at the end, with which a symbolic link would be followed.
std::filesystem::path withoutEndSlash(const std::filesystem::path& path) {
    return path.has_filename() ? path : path.parent_path();
}

} // namespace

RuntimeDirectoryError::RuntimeDirectoryError(const std::filesystem::path& path, const std::string& reason)
    : std::runtime_error(path.string() + ": " + reason), path_(path), reason_(reason) {}

RuntimeDirectory::RuntimeDirectory(std::filesystem::path path)
    : path_(withoutEndSlash(path)), descriptor_(openOwn(AT_FDCWD, path_.c_str(), path_)) {}

RuntimeDirectory::RuntimeDirectory(int parent, const std::string& component, std::filesystem::path path)
    : path_(std::move(path)), descriptor_(openOwn(parent, component.c_str(), path_)) {}

RuntimeDirectory RuntimeDirectory::subdirectory(std::string_view name) const {
    const std::string component = pathComponentOf(name);
    return {descriptor(), component, path_ / component};
}

std::string RuntimeDirectory::socketPath(std::string_view name) const {
    return socketPathOfComponent(pathComponentOf(name));
}

std::string RuntimeDirectory::socketPathOfComponent(std::string_view component) const {
    return fmt::format("/proc/self/fd/{}/{}", descriptor(), component);
}

bool RuntimeDirectory::remove(std::string_view name) const {
    const std::string component = pathComponentOf(name);
    if (unlinkat(descriptor(), component.c_str(), 0) == 0) {
        return true;
    }
    if (errno == ENOENT) {
        return false;
    }
    throw RuntimeDirectoryError(path_ / component, reasonOf(errno));
}

void RuntimeDirectory::discard(std::string_view name) const {
    unlinkat(descriptor(), pathComponentOf(name).c_str(), 0);
}

} // namespace foundation
