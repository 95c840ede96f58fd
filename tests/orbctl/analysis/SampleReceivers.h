// SPDX-License-Identifier: MIT
#pragma once

#include "orbctl/analysis/Verdict.h"

namespace orbctl::test {

inline constexpr FrameNumber second = framesPerSecond;

/// A recording that begins with two seconds of silence and then holds ten seconds of the source.
inline ReceiverReport goodReceiver(const std::string& name) {
    ReceiverReport receiver;
    receiver.name = name;
    receiver.file = name + ".wav";
    StreamResult& stream = receiver.result.stream;
    stream.segments = {{2 * second, 0, 10 * second}};
    stream.segmentCount = 1;
    stream.frames = 12 * second;
    stream.leadingSilentFrames = 2 * second;
    stream.matchedFrames = 10 * second;
    stream.sourceEndReached = true;
    receiver.result.offsetToFirst = 0;
    receiver.heardLatencies = heardLatencies(stream, 0.25);
    return receiver;
}

/// A silent jump ahead of the source, as a resynchronisation at ten seconds leaves it.
inline Break jumpAt(double seconds) {
    return {BreakKind::gap, static_cast<FrameNumber>(seconds * 44100.0), 4000, 0, 8 * second, 9000, 9000};
}

inline void addBreak(ReceiverReport& receiver, const Break& record) {
    receiver.result.stream.breaks.push_back(record);
    ++receiver.result.stream.breakCount;
}

} // namespace orbctl::test
