// SPDX-License-Identifier: MIT
#pragma once

#include "platform/coremedia/AudioStreamBasicDescription.h"
#include "platform/coremedia/CMAllocator.h"
#include "platform/coremedia/OSStatus.h"

#include <memory>

namespace coremedia {

inline constexpr double kCMAudioMaximumSampleRate = 384000; ///< Hz; the fastest rate converters deliver.
inline constexpr uint32_t kCMAudioMaximumChannels = 32;

/// A stream description that was found consistent. Immutable; shared by all sample buffers of a stream and
/// across threads.
class CMAudioFormatDescription {
    struct Key { // only the function below can name it, and so construct
        explicit Key() = default;
    };

  public:
    CMAudioFormatDescription(Key, const AudioStreamBasicDescription& description) noexcept
        : description_(description) {}

    const AudioStreamBasicDescription& streamBasicDescription() const noexcept { return description_; }

  private:
    friend OSStatus CMAudioFormatDescriptionCreate(const AudioStreamBasicDescription&,
                                                   std::shared_ptr<const CMAudioFormatDescription>&,
                                                   CMAllocator*) noexcept;

    AudioStreamBasicDescription description_;
};

/// Checks `description` and wraps it; one allocation.
///
/// Accepted are linear PCM of 1 to 32 channels at a finite rate above 0 and up to 384 kHz, one frame per
/// packet, with samples of 32 or 64 bits (float) or 8, 16, 24 or 32 bits (integer), no flags but the two
/// known ones, and byte counts that agree: packed frames have no spare byte, padded ones hold equally sized
/// containers, large enough for a sample and of at most 8 bytes, for all channels.
///
/// Fails with kCMFormatDescriptionInvalidParameterErr or kCMFormatDescriptionAllocationFailedErr, `out` being
/// null.
OSStatus CMAudioFormatDescriptionCreate(const AudioStreamBasicDescription& description,
                                        std::shared_ptr<const CMAudioFormatDescription>& out,
                                        CMAllocator* allocator = nullptr) noexcept;

} // namespace coremedia
