// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/FileDescriptor.h"

#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

namespace foundation {

/// A runtime directory that cannot be used. `what()` is "path: reason".
class RuntimeDirectoryError final : public std::runtime_error {
  public:
    RuntimeDirectoryError(const std::filesystem::path& path, const std::string& reason);

    const std::filesystem::path& path() const { return path_; }
    const std::string& reason() const { return reason_; }

  private:
    std::filesystem::path path_;
    std::string reason_;
};

/// A directory for sockets and shared state that only this user can enter, and where the processes of the
/// user find each other. Opened once and reached through its descriptor from then on, so that nobody can put
/// another in its place. Made by the composition root from `standardRuntimePath()`, in tests from a temporary
/// directory. Immutable: any thread.
class RuntimeDirectory {
  public:
    /// Opens `path`, creating it (not its parents) with mode 0700 when it is missing. Throws
    /// RuntimeDirectoryError when that fails, or when what is there is a symbolic link, no directory, owned
    /// by another user, or open to group or others. The last is not put right: somebody may already have been
    /// in.
    explicit RuntimeDirectory(std::filesystem::path path);

    /// The directory for `name`, which may be any text (see `pathComponentOf`), inside of this one; created
    /// and judged alike. Throws RuntimeDirectoryError.
    RuntimeDirectory subdirectory(std::string_view name) const;

    const std::filesystem::path& path() const { return path_; }
    int descriptor() const { return descriptor_.get(); }

    /// The address at which a Unix socket called `name` in this directory is bound or reached, however long
    /// the directory's own path is: `/proc/self/fd/<descriptor>/<component of name>`. Valid in this process,
    /// while this object lives. (A bound socket needs the address no more; its file is removed with
    /// `remove`.)
    std::string socketPath(std::string_view name) const;

    /// The same for a file as listed in the directory, whose name needs no escaping.
    std::string socketPathOfComponent(std::string_view component) const;

    /// Removes the file (a socket's, say) called `name`; false when there was none. Throws
    /// RuntimeDirectoryError.
    bool remove(std::string_view name) const;

    /// The same for whoever cannot do anything about a failure: what is left harms nobody.
    void discard(std::string_view name) const;

  private:
    RuntimeDirectory(int parent, const std::string& component, std::filesystem::path path);

    std::filesystem::path path_;
    FileDescriptor descriptor_;
};

} // namespace foundation
