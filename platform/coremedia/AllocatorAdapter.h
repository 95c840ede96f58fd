// SPDX-License-Identifier: MIT
#pragma once

#include "platform/coremedia/CMAllocator.h"

#include <cstddef>
#include <exception>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace coremedia {

/// Lets standard containers and shared pointers draw from a CMAllocator, which it refers to but does not own.
/// Internal to this library.
template <typename T>
class AllocatorAdapter {
  public:
    using value_type = T;

    explicit AllocatorAdapter(CMAllocator& allocator) noexcept : allocator_(&allocator) {}

    template <typename Other>
    AllocatorAdapter(const AllocatorAdapter<Other>& other) noexcept : allocator_(&other.allocator()) {}

    CMAllocator& allocator() const noexcept { return *allocator_; }

    /// Throws std::bad_alloc, as the standard containers expect, when the allocator has nothing left.
    T* allocate(std::size_t count) {
        if (count > std::numeric_limits<std::size_t>::max() / sizeof(T)) {
            throw std::bad_array_new_length();
        }
        void* const memory = allocator_->allocate(count * sizeof(T), alignof(T));
        if (memory == nullptr) {
            throw std::bad_alloc();
        }
        return static_cast<T*>(memory);
    }

    void deallocate(T* memory, std::size_t count) noexcept {
        allocator_->deallocate(memory, count * sizeof(T), alignof(T));
    }

    template <typename Other>
    bool operator==(const AllocatorAdapter<Other>& other) const noexcept {
        return allocator_ == &other.allocator();
    }

  private:
    CMAllocator* allocator_;
};

/// Creates a T (or, for an array type, as many elements as the argument says) together with its reference
/// counts in one allocation. Null when there is no memory.
template <typename T, typename... Arguments>
std::shared_ptr<T> makeShared(CMAllocator& allocator, Arguments&&... arguments) noexcept {
    using Element = std::remove_cv_t<std::remove_extent_t<T>>;
    try {
        return std::allocate_shared<T>(AllocatorAdapter<Element>(allocator),
                                       std::forward<Arguments>(arguments)...);
    } catch (const std::exception&) {
        return nullptr;
    }
}

} // namespace coremedia
