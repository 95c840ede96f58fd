// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

#include <utility>

namespace foundation {

/// The sole owner of an open file descriptor, or of none (-1).
class FileDescriptor {
  public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(other.release()) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other) {
            reset();
            descriptor_ = other.release();
        }
        return *this;
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() { reset(); }

    int get() const { return descriptor_; }
    int release() { return std::exchange(descriptor_, -1); }
    explicit operator bool() const { return descriptor_ >= 0; }

    void reset() {
        if (descriptor_ >= 0) {
            ::close(release());
        }
    }

  private:
    int descriptor_ = -1;
};

} // namespace foundation
