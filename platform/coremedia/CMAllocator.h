// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

namespace coremedia {

/// Source of all memory this library takes.
///
/// Every creating function accepts one as its last argument; null stands for the process heap. Passing an own
/// one serves pools and accounting, and lets callers exercise their behaviour when memory runs out. The
/// allocator is not owned and must outlive everything created from it. It is called on whichever thread
/// creates or drops the last reference to an object, so implementations must be thread-safe.
class CMAllocator {
  public:
    CMAllocator() = default;
    CMAllocator(const CMAllocator&) = delete;
    CMAllocator& operator=(const CMAllocator&) = delete;

    /// Returns `size` bytes (> 0) at a multiple of `alignment` (a power of two), or null when there are none.
    virtual void* allocate(std::size_t size, std::size_t alignment) noexcept = 0;

    /// Takes back what `allocate` returned for the same `size` and `alignment`.
    virtual void deallocate(void* memory, std::size_t size, std::size_t alignment) noexcept = 0;

  protected:
    // Not virtual: nobody owns an allocator through this face, and the heap one stays usable while static
    // objects are being destroyed because it needs no destruction itself.
    ~CMAllocator() = default;
};

/// The process heap. Thread-safe, never fails before the heap does.
CMAllocator& defaultAllocator() noexcept;

/// `allocator`, or the process heap for null.
CMAllocator& allocatorOrDefault(CMAllocator* allocator) noexcept;

} // namespace coremedia
