// SPDX-License-Identifier: MIT
#pragma once

#include "platform/coremedia/CMAllocator.h"
#include "platform/coremedia/CMAudioFormatDescription.h"
#include "platform/coremedia/CMBlockBuffer.h"
#include "platform/coremedia/CMTime.h"
#include "platform/coremedia/OSStatus.h"

#include <cstdint>
#include <memory>
#include <utility>

namespace coremedia {

/// A run of audio frames with their format and the time they are to be heard at.
///
/// Made by the function below and then immutable; shared across threads as shared_ptr<const CMSampleBuffer>.
/// Whoever still holds the data buffer for writing must leave it alone from then on.
class CMSampleBuffer {
    struct Key { // only the function below can name it, and so construct
        explicit Key() = default;
    };

  public:
    /// The parts, as checked by the creating function.
    struct Parts {
        std::shared_ptr<const CMBlockBuffer> data;
        std::shared_ptr<const CMAudioFormatDescription> format;
        int64_t sampleCount = 0;
        CMTime presentationTimeStamp;
        CMTime duration;
    };

    CMSampleBuffer(Key, Parts parts) noexcept : parts_(std::move(parts)) {}

    const Parts& parts() const noexcept { return parts_; }

  private:
    friend OSStatus CMAudioSampleBufferCreateReadyWithPacketDescriptions(
        std::shared_ptr<const CMBlockBuffer>, std::shared_ptr<const CMAudioFormatDescription>, int64_t,
        const CMTime&, std::shared_ptr<const CMSampleBuffer>&, CMAllocator*) noexcept;

    const Parts parts_;
};

/// Makes a sample buffer of the `sampleCount` frames in `data`, the first of which is due at
/// `presentationTimeStamp`; one allocation. Linear PCM needs no table of packets: one frame is one packet.
///
/// Fails with kCMSampleBufferRequiredParameterMissingErr (null data or format), ...InvalidTimeStampErr,
/// ...SizeMismatchErr, ...BufferNotReadyErr or ...AllocationFailedErr, `out` being null.
OSStatus CMAudioSampleBufferCreateReadyWithPacketDescriptions(
    std::shared_ptr<const CMBlockBuffer> data, std::shared_ptr<const CMAudioFormatDescription> format,
    int64_t sampleCount, const CMTime& presentationTimeStamp, std::shared_ptr<const CMSampleBuffer>& out,
    CMAllocator* allocator = nullptr) noexcept;

inline CMTime CMSampleBufferGetPresentationTimeStamp(const CMSampleBuffer& buffer) noexcept {
    return buffer.parts().presentationTimeStamp;
}

/// Frames divided by the rate: exact at whole-numbered rates, at others rounded to kCMTimeAudioTimescale.
inline CMTime CMSampleBufferGetDuration(const CMSampleBuffer& buffer) noexcept {
    return buffer.parts().duration;
}

/// Frames.
inline int64_t CMSampleBufferGetNumSamples(const CMSampleBuffer& buffer) noexcept {
    return buffer.parts().sampleCount;
}

/// Never null.
inline const std::shared_ptr<const CMBlockBuffer>& CMSampleBufferGetDataBuffer(
    const CMSampleBuffer& buffer) noexcept {
    return buffer.parts().data;
}

/// Never null.
inline const std::shared_ptr<const CMAudioFormatDescription>& CMSampleBufferGetFormatDescription(
    const CMSampleBuffer& buffer) noexcept {
    return buffer.parts().format;
}

} // namespace coremedia
