// SPDX-License-Identifier: MIT
#include "platform/coremedia/CMAudioFormatDescription.h"

#include "platform/coremedia/AllocatorAdapter.h"

namespace coremedia {
namespace {

constexpr uint32_t kBitsPerByte = 8;
constexpr uint32_t kLargestContainer = 8;

bool isKnownSample(const AudioStreamBasicDescription& description) {
    const uint32_t bits = description.bitsPerChannel;
    if ((description.formatFlags & kAudioFormatFlagIsFloat) != 0) {
        return bits == 32 || bits == 64;
    }
    return bits == 8 || bits == 16 || bits == 24 || bits == 32;
}

// The sample and channel counts were checked before: neither zero nor large enough to overflow a product.
bool frameHoldsItsSamples(const AudioStreamBasicDescription& description) {
    const uint32_t sample = description.bitsPerChannel / kBitsPerByte;
    const uint32_t channels = description.channelsPerFrame;
    if ((description.formatFlags & kAudioFormatFlagIsPacked) != 0) {
        return description.bytesPerFrame == sample * channels;
    }
    const uint32_t container = description.bytesPerFrame / channels;
    return description.bytesPerFrame % channels == 0 && container >= sample && container <= kLargestContainer;
}

bool isSupported(const AudioStreamBasicDescription& description) {
    constexpr uint32_t kKnownFlags = kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked;
    // Both comparisons are false for NaN.
    const double rate = description.sampleRate;
    const bool rateInRange = rate > 0 && rate <= kCMAudioMaximumSampleRate;
    const uint32_t channels = description.channelsPerFrame;
    const bool channelsInRange = channels >= 1 && channels <= kCMAudioMaximumChannels;
    return description.formatID == kAudioFormatLinearPCM && (description.formatFlags & ~kKnownFlags) == 0 &&
           rateInRange && channelsInRange && isKnownSample(description) &&
           frameHoldsItsSamples(description) && description.framesPerPacket == 1 &&
           description.bytesPerPacket == description.bytesPerFrame;
}

} // namespace

OSStatus CMAudioFormatDescriptionCreate(const AudioStreamBasicDescription& description,
                                        std::shared_ptr<const CMAudioFormatDescription>& out,
                                        CMAllocator* allocator) noexcept {
    out.reset();
    if (!isSupported(description)) {
        return kCMFormatDescriptionInvalidParameterErr;
    }
    out = makeShared<CMAudioFormatDescription>(allocatorOrDefault(allocator), CMAudioFormatDescription::Key{},
                                               description);
    return out != nullptr ? noErr : kCMFormatDescriptionAllocationFailedErr;
}

} // namespace coremedia
