// SPDX-License-Identifier: MIT
#pragma once

#include "platform/coremedia/AllocatorAdapter.h"
#include "platform/coremedia/CMAllocator.h"
#include "platform/coremedia/OSStatus.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <span>
#include <vector>

namespace coremedia {

enum class CMBlockBufferFlags : uint32_t {
    none = 0,
    assureMemoryNow = 1, ///< Take the memory during the call instead of when it is first needed.
};

/// Bound of the total length of a buffer, bytes; keeps sums of an offset and a length from overflowing.
inline constexpr std::size_t kCMBlockBufferMaximumLength = std::numeric_limits<std::ptrdiff_t>::max();

/// A row of bytes put together from ranges of reference-counted memory blocks.
///
/// Held by std::shared_ptr and only made by the CMBlockBufferCreate... functions. Appending shares memory
/// blocks instead of copying: bytes written through one buffer are seen through all that refer to them, and a
/// block lives as long as any of them. Blocks never refer back to buffers, so no cycle can arise.
///
/// Not synchronised: one thread fills it; afterwards it may be read from many as long as nobody writes.
class CMBlockBuffer {
    struct Key { // only the functions below can name it, and so construct
        explicit Key() = default;
    };

  public:
    /// References a buffer holds without an allocation of their own.
    static constexpr std::size_t kInlineReferences = 4;

    CMBlockBuffer(Key, CMAllocator& allocator, std::size_t capacity) noexcept;
    CMBlockBuffer(const CMBlockBuffer&) = delete;
    CMBlockBuffer& operator=(const CMBlockBuffer&) = delete;

  private:
    struct Segment {
        std::shared_ptr<std::byte> bytes; // first byte of the range; null until memory is assured
        std::size_t length = 0;
    };

    Segment& segment(std::size_t index) noexcept;
    const Segment& segment(std::size_t index) const noexcept;
    void push(Segment segment) noexcept;
    OSStatus reserve(std::size_t references) noexcept;
    OSStatus checkRange(std::size_t offset, std::size_t length) const noexcept;
    OSStatus assureMemory() noexcept;
    bool hasAllMemory() const noexcept;
    template <typename Visitor>
    void visitRange(std::size_t offset, std::size_t length, Visitor&& visit) const;

    friend OSStatus CMBlockBufferCreateEmpty(std::size_t, CMBlockBufferFlags, std::shared_ptr<CMBlockBuffer>&,
                                             CMAllocator*) noexcept;
    friend OSStatus CMBlockBufferCreateWithMemoryBlock(std::size_t, CMBlockBufferFlags,
                                                       std::shared_ptr<CMBlockBuffer>&,
                                                       CMAllocator*) noexcept;
    friend OSStatus CMBlockBufferReplaceDataBytes(const void*, const std::shared_ptr<CMBlockBuffer>&,
                                                  std::size_t, std::size_t) noexcept;
    friend OSStatus CMBlockBufferAppendBufferReference(const std::shared_ptr<CMBlockBuffer>&,
                                                       const std::shared_ptr<CMBlockBuffer>&, std::size_t,
                                                       std::size_t, CMBlockBufferFlags) noexcept;
    friend OSStatus CMBlockBufferCopyDataBytes(const CMBlockBuffer&, std::size_t, std::size_t,
                                               void*) noexcept;
    friend OSStatus CMBlockBufferGetDataPointer(const CMBlockBuffer&, std::size_t,
                                                std::span<const std::byte>&) noexcept;
    friend std::size_t CMBlockBufferGetDataLength(const CMBlockBuffer&) noexcept;
    friend bool CMBlockBufferHasAllMemory(const CMBlockBuffer&) noexcept;

    CMAllocator& allocator_;
    std::size_t capacity_;
    std::size_t segmentCount_ = 0;
    std::size_t length_ = 0;
    std::array<Segment, kInlineReferences> inlineSegments_;
    std::vector<Segment, AllocatorAdapter<Segment>> furtherSegments_;
};

/// Makes a buffer without bytes. `capacity` is the number of references expected; more are possible. One
/// allocation, and for more than kInlineReferences references one more: now with assureMemoryNow, else by the
/// append that needs it. Fails with kCMBlockBufferStructureAllocationFailedErr, `out` being null.
OSStatus CMBlockBufferCreateEmpty(std::size_t capacity, CMBlockBufferFlags flags,
                                  std::shared_ptr<CMBlockBuffer>& out,
                                  CMAllocator* allocator = nullptr) noexcept;

/// Makes a buffer of `blockLength` bytes in one new memory block, zeroed and aligned for any sample type.
///
/// Two allocations: the buffer, and the block with its reference count, the latter now with assureMemoryNow,
/// else when bytes are first replaced. (A chunk of audio thus costs four: an empty buffer, this one's two and
/// the sample buffer.) Fails with kCMBlockBufferBadLengthParameterErr (zero or above the maximum),
/// kCMBlockBufferStructureAllocationFailedErr or kCMBlockBufferBlockAllocationFailedErr, `out` being null.
OSStatus CMBlockBufferCreateWithMemoryBlock(std::size_t blockLength, CMBlockBufferFlags flags,
                                            std::shared_ptr<CMBlockBuffer>& out,
                                            CMAllocator* allocator = nullptr) noexcept;

/// Copies `length` bytes from `source` over those of `destination` from `offset` on, which may span
/// references. Allocates a memory block not yet there. Fails without a change with
/// kCMBlockBufferBadPointerParameterErr (null), ...BadOffset..., ...BadLengthParameterErr (zero or behind the
/// end) or kCMBlockBufferBlockAllocationFailedErr.
OSStatus CMBlockBufferReplaceDataBytes(const void* source, const std::shared_ptr<CMBlockBuffer>& destination,
                                       std::size_t offset, std::size_t length) noexcept;

/// Appends to `target` a reference to `length` bytes of `source` from `offset` on. Later appends to `source`
/// do not show in `target`. With assureMemoryNow, a memory block of `source` not yet there is allocated.
/// Fails without a change with kCMBlockBufferBadPointerParameterErr (null, or `target` is `source`),
/// ...BadOffset..., ...BadLength..., ...UnallocatedBlockErr (and no flag) or an allocation failure.
OSStatus CMBlockBufferAppendBufferReference(const std::shared_ptr<CMBlockBuffer>& target,
                                            const std::shared_ptr<CMBlockBuffer>& source, std::size_t offset,
                                            std::size_t length, CMBlockBufferFlags flags) noexcept;

/// Copies `length` bytes from `offset` on to `destination`. Fails with kCMBlockBufferBadPointerParameterErr,
/// ...BadOffset..., ...BadLengthParameterErr or kCMBlockBufferUnallocatedBlockErr, writing nothing.
OSStatus CMBlockBufferCopyDataBytes(const CMBlockBuffer& source, std::size_t offset, std::size_t length,
                                    void* destination) noexcept;

/// Gives the bytes from `offset` to the end of the memory range it lies in, without copying; advancing by the
/// size of each result visits the whole buffer. Valid as long as the buffer. Fails with
/// kCMBlockBufferBadOffsetParameterErr or kCMBlockBufferUnallocatedBlockErr, `out` being empty.
OSStatus CMBlockBufferGetDataPointer(const CMBlockBuffer& buffer, std::size_t offset,
                                     std::span<const std::byte>& out) noexcept;

/// Total length, bytes, of all ranges, allocated or not.
std::size_t CMBlockBufferGetDataLength(const CMBlockBuffer& buffer) noexcept;

/// Whether all bytes can be read.
bool CMBlockBufferHasAllMemory(const CMBlockBuffer& buffer) noexcept;

} // namespace coremedia
