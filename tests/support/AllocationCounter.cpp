// SPDX-License-Identifier: MIT
#include "tests/support/AllocationCounter.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <new>

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ORB_SANITIZER_ALLOCATES
#endif
#endif

namespace {
constinit thread_local std::uint64_t allocations = 0;
}

std::uint64_t support::allocationsOfThisThread() { return allocations; }

#ifdef ORB_SANITIZER_ALLOCATES

// The sanitizer's own operator new cannot be replaced; it calls this for whatever it hands out.
extern "C" void __sanitizer_malloc_hook(const volatile void*, std::size_t) { ++allocations; }

#else

namespace {

void* take(std::size_t size, std::size_t alignment) {
    ++allocations;
    const std::size_t whole = (std::max<std::size_t>(size, 1) + alignment - 1) / alignment * alignment;
    if (void* memory = std::aligned_alloc(alignment, whole))
        return memory;
    throw std::bad_alloc();
}

} // namespace

// The library's forms for arrays and those that do not throw call these.
void* operator new(std::size_t size) { return take(size, alignof(std::max_align_t)); }
void* operator new(std::size_t size, std::align_val_t alignment) {
    return take(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }

#endif
