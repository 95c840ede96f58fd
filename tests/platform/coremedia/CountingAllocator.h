// SPDX-License-Identifier: MIT
#pragma once

#include "platform/coremedia/CMAllocator.h"

#include <cstddef>

namespace coremedia {

/// Heap allocator that counts, and hands out nothing for one request of choice (the first is number 0).
class CountingAllocator final : public CMAllocator {
  public:
    static constexpr std::size_t kNever = static_cast<std::size_t>(-1);

    explicit CountingAllocator(std::size_t failing = kNever) : failing_(failing) {}

    void* allocate(std::size_t size, std::size_t alignment) noexcept override {
        if (requests_++ == failing_) {
            return nullptr;
        }
        liveBytes_ += size;
        return defaultAllocator().allocate(size, alignment);
    }

    void deallocate(void* memory, std::size_t size, std::size_t alignment) noexcept override {
        liveBytes_ -= size;
        defaultAllocator().deallocate(memory, size, alignment);
    }

    std::size_t liveBytes() const { return liveBytes_; }

  private:
    std::size_t failing_;
    std::size_t requests_ = 0;
    std::size_t liveBytes_ = 0;
};

} // namespace coremedia
