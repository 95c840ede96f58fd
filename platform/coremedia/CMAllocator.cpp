// SPDX-License-Identifier: MIT
#include "platform/coremedia/CMAllocator.h"

#include <new>

namespace coremedia {
namespace {

class HeapAllocator final : public CMAllocator {
  public:
    void* allocate(std::size_t size, std::size_t alignment) noexcept override {
        return ::operator new(size, std::align_val_t{alignment}, std::nothrow);
    }

    void deallocate(void* memory, std::size_t, std::size_t alignment) noexcept override {
        ::operator delete(memory, std::align_val_t{alignment});
    }
};

HeapAllocator heapAllocator;

} // namespace

CMAllocator& defaultAllocator() noexcept { return heapAllocator; }

CMAllocator& allocatorOrDefault(CMAllocator* allocator) noexcept {
    return allocator != nullptr ? *allocator : defaultAllocator();
}

} // namespace coremedia
