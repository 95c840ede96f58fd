// SPDX-License-Identifier: MIT
#include "ORBRouteService/audio/SampleBuffers.h"

#include "ORBRouteService/log/ORBDebugLog.h"

#include "platform/coremedia/CMBlockBuffer.h"

namespace orb {
namespace {

using coremedia::CMBlockBuffer;
using coremedia::CMBlockBufferFlags;
using coremedia::OSStatus;

/// A block buffer with the chunk's floats; nullptr when a step fails.
std::shared_ptr<CMBlockBuffer> makeBlockBuffer(const lmn::LMNBuffer& chunk,
                                               coremedia::CMAllocator* allocator) {
    const std::size_t bytes = std::size_t{chunk.frameCount()} * chunk.channelCount() * sizeof(float);
    std::shared_ptr<CMBlockBuffer> whole;
    if (const OSStatus status = CMBlockBufferCreateEmpty(0, CMBlockBufferFlags::none, whole, allocator)) {
        ORBDebugLog(4, "Error creating empty CMBlockBuffer ({})", status);
        return nullptr;
    }
    std::shared_ptr<CMBlockBuffer> block;
    if (const OSStatus status = CMBlockBufferCreateWithMemoryBlock(bytes, CMBlockBufferFlags::assureMemoryNow,
                                                                   block, allocator)) {
        ORBDebugLog(4, "Error creating CMBlockBuffer with memory block ({})", status);
        return nullptr;
    }
    if (const OSStatus status = CMBlockBufferReplaceDataBytes(chunk.samples(), block, 0, bytes)) {
        ORBDebugLog(4, "Error replacing data bytes of CMBlockBuffer ({})", status);
        return nullptr;
    }
    if (const OSStatus status = CMBlockBufferAppendBufferReference(
            whole, block, 0, CMBlockBufferGetDataLength(*block), CMBlockBufferFlags::none)) {
        ORBDebugLog(4, "Error appending buffer reference ({})", status);
        return nullptr;
    }
    return whole;
}

} // namespace

std::shared_ptr<const coremedia::CMAudioFormatDescription> makeRenderFormat(
    double sampleRate, coremedia::CMAllocator* allocator) {
    constexpr std::uint32_t channels = 2;
    std::shared_ptr<const coremedia::CMAudioFormatDescription> format;
    const OSStatus status = CMAudioFormatDescriptionCreate(
        coremedia::packedFloatDescription(sampleRate, channels), format, allocator);
    if (status != coremedia::noErr || !format)
        ORBDebugLog(4, "ORBMirrorDevice: Failed to create audio format description ({})", status);
    return format;
}

std::shared_ptr<const coremedia::CMSampleBuffer> makeSampleBuffer(
    const lmn::LMNBuffer& chunk, const std::shared_ptr<const coremedia::CMAudioFormatDescription>& format,
    const coremedia::CMTime& presentationTime, coremedia::CMAllocator* allocator) {
    if (chunk.frameCount() == 0)
        return nullptr;
    const std::shared_ptr<CMBlockBuffer> block = makeBlockBuffer(chunk, allocator);
    if (!block)
        return nullptr;
    if (!format) {
        ORBDebugLog(4, "ORBMirrorDevice: No audioFormatDescription available for enqueue");
        return nullptr;
    }
    std::shared_ptr<const coremedia::CMSampleBuffer> buffer;
    CMAudioSampleBufferCreateReadyWithPacketDescriptions(block, format, chunk.frameCount(), presentationTime,
                                                         buffer, allocator);
    return buffer;
}

} // namespace orb
