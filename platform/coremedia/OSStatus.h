// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace coremedia {

/// Result of every fallible operation of this library: `noErr` or one of the negative values below.
/// The numbers only have to be distinct and stable, as they end up in logs; each kind of object has its own
/// block of them so that a bare number in a log tells which step failed.
using OSStatus = int32_t;

inline constexpr OSStatus noErr = 0;

/// The bookkeeping of a block buffer (the object itself or its list of references) could not be allocated.
inline constexpr OSStatus kCMBlockBufferStructureAllocationFailedErr = -12700;
/// The bytes of a memory block could not be allocated.
inline constexpr OSStatus kCMBlockBufferBlockAllocationFailedErr = -12701;
/// An offset lies at or behind the end of the data.
inline constexpr OSStatus kCMBlockBufferBadOffsetParameterErr = -12703;
/// A length is zero, reaches behind the end of the data, or would make the total too large.
inline constexpr OSStatus kCMBlockBufferBadLengthParameterErr = -12704;
/// A required pointer is null, or a buffer was to be appended to itself.
inline constexpr OSStatus kCMBlockBufferBadPointerParameterErr = -12705;
/// The buffer has a memory block whose bytes were never allocated.
inline constexpr OSStatus kCMBlockBufferUnallocatedBlockErr = -12707;

/// The stream description contradicts itself or is outside the supported ranges.
inline constexpr OSStatus kCMFormatDescriptionInvalidParameterErr = -12710;
inline constexpr OSStatus kCMFormatDescriptionAllocationFailedErr = -12711;

inline constexpr OSStatus kCMSampleBufferAllocationFailedErr = -12730;
/// The data buffer or the format description is null.
inline constexpr OSStatus kCMSampleBufferRequiredParameterMissingErr = -12731;
/// Some of the data buffer's memory was never allocated.
inline constexpr OSStatus kCMSampleBufferBufferNotReadyErr = -12733;
/// The sample count is not positive, or times the frame size it is not the length of the data.
inline constexpr OSStatus kCMSampleBufferSizeMismatchErr = -12734;
/// The presentation time stamp is not a number.
inline constexpr OSStatus kCMSampleBufferInvalidTimeStampErr = -12735;

} // namespace coremedia
