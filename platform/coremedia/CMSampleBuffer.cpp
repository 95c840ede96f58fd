// SPDX-License-Identifier: MIT
#include "platform/coremedia/CMSampleBuffer.h"

#include "platform/coremedia/AllocatorAdapter.h"

namespace coremedia {
namespace {

CMTime durationOf(int64_t frames, double sampleRate) noexcept {
    // Rates were checked to be at most 384 kHz, so the conversion is defined.
    const auto wholeRate = static_cast<int32_t>(sampleRate);
    if (static_cast<double>(wholeRate) == sampleRate) {
        return CMTimeMake(frames, wholeRate);
    }
    return CMTimeMakeWithSeconds(static_cast<double>(frames) / sampleRate, kCMTimeAudioTimescale);
}

bool fills(std::size_t bytes, int64_t frames, uint32_t bytesPerFrame) noexcept {
    // Dividing the length cannot overflow, where multiplying the count could.
    return frames > 0 && bytes % bytesPerFrame == 0 && bytes / bytesPerFrame == static_cast<uint64_t>(frames);
}

} // namespace

OSStatus CMAudioSampleBufferCreateReadyWithPacketDescriptions(
    std::shared_ptr<const CMBlockBuffer> data, std::shared_ptr<const CMAudioFormatDescription> format,
    int64_t sampleCount, const CMTime& presentationTimeStamp, std::shared_ptr<const CMSampleBuffer>& out,
    CMAllocator* allocator) noexcept {
    out.reset();
    if (data == nullptr || format == nullptr) {
        return kCMSampleBufferRequiredParameterMissingErr;
    }
    if (!isNumeric(presentationTimeStamp)) {
        return kCMSampleBufferInvalidTimeStampErr;
    }
    const AudioStreamBasicDescription& layout = format->streamBasicDescription();
    if (!fills(CMBlockBufferGetDataLength(*data), sampleCount, layout.bytesPerFrame)) {
        return kCMSampleBufferSizeMismatchErr;
    }
    if (!CMBlockBufferHasAllMemory(*data)) {
        return kCMSampleBufferBufferNotReadyErr;
    }
    const CMTime duration = durationOf(sampleCount, layout.sampleRate);
    out = makeShared<CMSampleBuffer>(allocatorOrDefault(allocator), CMSampleBuffer::Key{},
                                     CMSampleBuffer::Parts{std::move(data), std::move(format), sampleCount,
                                                           presentationTimeStamp, duration});
    return out != nullptr ? noErr : kCMSampleBufferAllocationFailedErr;
}

} // namespace coremedia
