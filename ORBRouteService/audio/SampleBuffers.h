// SPDX-License-Identifier: MIT
#pragma once

#include "platform/coremedia/CMSampleBuffer.h"
#include "platform/lmn/LMNBuffer.h"

#include <memory>

namespace orb {

/// The one audio format of a mirror device: packed interleaved 32-bit float, stereo. nullptr, and a log line,
/// when the platform does not make it. `allocator` nullptr: the heap.
std::shared_ptr<const coremedia::CMAudioFormatDescription> makeRenderFormat(
    double sampleRate, coremedia::CMAllocator* allocator);

/// A sample buffer of a chunk's frames. nullptr when a step fails, which all but the last log.
/// `format` may be nullptr, which is such a failure.
std::shared_ptr<const coremedia::CMSampleBuffer> makeSampleBuffer(
    const lmn::LMNBuffer& chunk, const std::shared_ptr<const coremedia::CMAudioFormatDescription>& format,
    const coremedia::CMTime& presentationTime, coremedia::CMAllocator* allocator);

} // namespace orb
