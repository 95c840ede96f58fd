// SPDX-License-Identifier: MIT
#include "platform/coremedia/CMBlockBuffer.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <utility>

namespace coremedia {
namespace {

// Granule of memory blocks: makes their bytes suitably aligned for every sample and vector type.
struct alignas(16) MemoryUnit {
    std::byte bytes[16];
};

std::shared_ptr<std::byte> makeZeroedBytes(CMAllocator& allocator, std::size_t length) noexcept {
    const std::size_t units = (length - 1) / sizeof(MemoryUnit) + 1;
    const auto block = makeShared<MemoryUnit[]>(allocator, units);
    if (block == nullptr) {
        return nullptr;
    }
    return {block, block[0].bytes};
}

} // namespace

CMBlockBuffer::CMBlockBuffer(Key, CMAllocator& allocator, std::size_t capacity) noexcept
    : allocator_(allocator), capacity_(capacity), furtherSegments_(AllocatorAdapter<Segment>(allocator)) {}

CMBlockBuffer::Segment& CMBlockBuffer::segment(std::size_t index) noexcept {
    return index < kInlineReferences ? inlineSegments_[index] : furtherSegments_[index - kInlineReferences];
}

const CMBlockBuffer::Segment& CMBlockBuffer::segment(std::size_t index) const noexcept {
    return index < kInlineReferences ? inlineSegments_[index] : furtherSegments_[index - kInlineReferences];
}

// Room was reserved before, so nothing here can fail.
void CMBlockBuffer::push(Segment segment) noexcept {
    length_ += segment.length;
    if (segmentCount_ < kInlineReferences) {
        inlineSegments_[segmentCount_] = std::move(segment);
    } else {
        furtherSegments_.push_back(std::move(segment));
    }
    ++segmentCount_;
}

OSStatus CMBlockBuffer::reserve(std::size_t references) noexcept {
    if (references <= kInlineReferences + furtherSegments_.capacity()) {
        return noErr;
    }
    // At least doubling keeps many small appends from copying the list each time.
    const std::size_t wanted = std::max(references, capacity_) - kInlineReferences;
    try {
        furtherSegments_.reserve(std::max(wanted, 2 * furtherSegments_.capacity()));
    } catch (const std::exception&) {
        return kCMBlockBufferStructureAllocationFailedErr;
    }
    return noErr;
}

OSStatus CMBlockBuffer::checkRange(std::size_t offset, std::size_t length) const noexcept {
    if (offset >= length_) {
        return kCMBlockBufferBadOffsetParameterErr;
    }
    // The subtraction cannot wrap, where offset + length could.
    return length == 0 || length > length_ - offset ? kCMBlockBufferBadLengthParameterErr : noErr;
}

OSStatus CMBlockBuffer::assureMemory() noexcept {
    // Only the block a buffer was created with, its first, can lack memory: appending refuses others.
    if (segmentCount_ == 0 || segment(0).bytes != nullptr) {
        return noErr;
    }
    segment(0).bytes = makeZeroedBytes(allocator_, segment(0).length);
    return segment(0).bytes != nullptr ? noErr : kCMBlockBufferBlockAllocationFailedErr;
}

bool CMBlockBuffer::hasAllMemory() const noexcept {
    return segmentCount_ == 0 || segment(0).bytes != nullptr;
}

/// Calls visit(segment, offset in it, length) for each part of a range that was checked before.
template <typename Visitor>
void CMBlockBuffer::visitRange(std::size_t offset, std::size_t length, Visitor&& visit) const {
    for (std::size_t index = 0; length > 0; ++index) {
        const Segment& part = segment(index);
        if (offset >= part.length) {
            offset -= part.length;
            continue;
        }
        const std::size_t taken = std::min(length, part.length - offset);
        visit(part, offset, taken);
        length -= taken;
        offset = 0;
    }
}

OSStatus CMBlockBufferCreateEmpty(std::size_t capacity, CMBlockBufferFlags flags,
                                  std::shared_ptr<CMBlockBuffer>& out, CMAllocator* allocator) noexcept {
    out.reset();
    CMAllocator& memory = allocatorOrDefault(allocator);
    auto buffer = makeShared<CMBlockBuffer>(memory, CMBlockBuffer::Key{}, memory, capacity);
    if (buffer == nullptr) {
        return kCMBlockBufferStructureAllocationFailedErr;
    }
    const bool now = flags == CMBlockBufferFlags::assureMemoryNow;
    const OSStatus status = now ? buffer->reserve(capacity) : noErr;
    if (status == noErr) {
        out = std::move(buffer);
    }
    return status;
}

OSStatus CMBlockBufferCreateWithMemoryBlock(std::size_t blockLength, CMBlockBufferFlags flags,
                                            std::shared_ptr<CMBlockBuffer>& out,
                                            CMAllocator* allocator) noexcept {
    out.reset();
    if (blockLength == 0 || blockLength > kCMBlockBufferMaximumLength) {
        return kCMBlockBufferBadLengthParameterErr;
    }
    CMAllocator& memory = allocatorOrDefault(allocator);
    auto buffer = makeShared<CMBlockBuffer>(memory, CMBlockBuffer::Key{}, memory, std::size_t{1});
    if (buffer == nullptr) {
        return kCMBlockBufferStructureAllocationFailedErr;
    }
    buffer->push({nullptr, blockLength});
    const OSStatus status = flags == CMBlockBufferFlags::assureMemoryNow ? buffer->assureMemory() : noErr;
    if (status == noErr) {
        out = std::move(buffer);
    }
    return status;
}

OSStatus CMBlockBufferReplaceDataBytes(const void* source, const std::shared_ptr<CMBlockBuffer>& destination,
                                       std::size_t offset, std::size_t length) noexcept {
    if (source == nullptr || destination == nullptr) {
        return kCMBlockBufferBadPointerParameterErr;
    }
    OSStatus status = destination->checkRange(offset, length);
    if (status == noErr) {
        status = destination->assureMemory();
    }
    if (status != noErr) {
        return status;
    }
    const auto* next = static_cast<const std::byte*>(source);
    destination->visitRange(offset, length, [&next](const auto& part, std::size_t start, std::size_t count) {
        // The source may lie in the very memory that is written.
        std::memmove(part.bytes.get() + start, next, count);
        next += count;
    });
    return noErr;
}

OSStatus CMBlockBufferAppendBufferReference(const std::shared_ptr<CMBlockBuffer>& target,
                                            const std::shared_ptr<CMBlockBuffer>& source, std::size_t offset,
                                            std::size_t length, CMBlockBufferFlags flags) noexcept {
    if (target == nullptr || source == nullptr || target == source) {
        return kCMBlockBufferBadPointerParameterErr;
    }
    OSStatus status = source->checkRange(offset, length);
    if (status != noErr) {
        return status;
    }
    if (length > kCMBlockBufferMaximumLength - target->length_) {
        return kCMBlockBufferBadLengthParameterErr;
    }
    if (flags == CMBlockBufferFlags::assureMemoryNow) {
        status = source->assureMemory();
        if (status != noErr) {
            return status;
        }
    }
    if (!source->hasAllMemory()) {
        return kCMBlockBufferUnallocatedBlockErr;
    }
    std::size_t parts = 0;
    source->visitRange(offset, length, [&parts](const auto&, std::size_t, std::size_t) { ++parts; });
    status = target->reserve(target->segmentCount_ + parts);
    if (status != noErr) {
        return status;
    }
    source->visitRange(offset, length, [&target](const auto& part, std::size_t start, std::size_t count) {
        target->push({std::shared_ptr<std::byte>(part.bytes, part.bytes.get() + start), count});
    });
    return noErr;
}

OSStatus CMBlockBufferCopyDataBytes(const CMBlockBuffer& source, std::size_t offset, std::size_t length,
                                    void* destination) noexcept {
    if (destination == nullptr) {
        return kCMBlockBufferBadPointerParameterErr;
    }
    const OSStatus status = source.checkRange(offset, length);
    if (status != noErr) {
        return status;
    }
    if (!source.hasAllMemory()) {
        return kCMBlockBufferUnallocatedBlockErr;
    }
    auto* next = static_cast<std::byte*>(destination);
    source.visitRange(offset, length, [&next](const auto& part, std::size_t start, std::size_t count) {
        std::memcpy(next, part.bytes.get() + start, count);
        next += count;
    });
    return noErr;
}

OSStatus CMBlockBufferGetDataPointer(const CMBlockBuffer& buffer, std::size_t offset,
                                     std::span<const std::byte>& out) noexcept {
    out = {};
    const OSStatus status = buffer.checkRange(offset, 1);
    if (status != noErr) {
        return status;
    }
    OSStatus found = kCMBlockBufferUnallocatedBlockErr;
    buffer.visitRange(offset, 1, [&](const auto& part, std::size_t start, std::size_t) {
        if (part.bytes != nullptr) {
            out = {part.bytes.get() + start, part.length - start};
            found = noErr;
        }
    });
    return found;
}

std::size_t CMBlockBufferGetDataLength(const CMBlockBuffer& buffer) noexcept { return buffer.length_; }

bool CMBlockBufferHasAllMemory(const CMBlockBuffer& buffer) noexcept { return buffer.hasAllMemory(); }

} // namespace coremedia
