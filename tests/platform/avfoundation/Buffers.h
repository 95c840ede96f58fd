// SPDX-License-Identifier: MIT
#pragma once

#include "platform/avfoundation/PlayoutTimeline.h"
#include "platform/coremedia/CMSampleBuffer.h"

#include <memory>
#include <vector>

namespace avfoundation {

/// A buffer whose frames describe themselves: left `firstNumber`, `firstNumber + 1`, ..., right the negative.
inline std::shared_ptr<const coremedia::CMSampleBuffer> makeBuffer(
    const coremedia::CMTime& time, std::int64_t frames, std::int64_t firstNumber,
    const coremedia::AudioStreamBasicDescription& layout = coremedia::packedFloatDescription(44100, 2)) {
    std::vector<float> samples(static_cast<std::size_t>(frames) * layout.channelsPerFrame);
    for (std::size_t sample = 0; sample < samples.size(); ++sample) {
        const auto number = firstNumber + static_cast<std::int64_t>(sample / layout.channelsPerFrame);
        samples[sample] = static_cast<float>(sample % 2 == 0 ? number : -number);
    }
    std::shared_ptr<coremedia::CMBlockBuffer> block;
    const std::size_t bytes = samples.size() * sizeof(float);
    coremedia::CMBlockBufferCreateWithMemoryBlock(bytes, coremedia::CMBlockBufferFlags::assureMemoryNow,
                                                  block);
    coremedia::CMBlockBufferReplaceDataBytes(samples.data(), block, 0, bytes);
    std::shared_ptr<const coremedia::CMAudioFormatDescription> format;
    coremedia::CMAudioFormatDescriptionCreate(layout, format);
    std::shared_ptr<const coremedia::CMSampleBuffer> buffer;
    coremedia::CMAudioSampleBufferCreateReadyWithPacketDescriptions(block, format, frames, time, buffer);
    return buffer;
}

/// Gives a timeline its commands as a synchroniser and a renderer do.
class Teller {
  public:
    void setRunning(bool running, dispatch::HostTime at) {
        clock_ = {at, clock_.mediaAt(at), running};
        give({.kind = PlayoutCommand::Kind::setClock, .at = at, .clock = clock_, .buffer = {}});
    }
    void enqueue(std::shared_ptr<const coremedia::CMSampleBuffer> buffer, dispatch::HostTime at) {
        give({.kind = PlayoutCommand::Kind::enqueue, .at = at, .clock = {}, .buffer = std::move(buffer)});
    }
    void flush(dispatch::HostTime at) {
        give({.kind = PlayoutCommand::Kind::flush, .at = at, .clock = {}, .buffer = {}});
    }
    const MediaClock& clock() const { return clock_; }
    const std::vector<PlayoutCommand>& commands() const { return commands_; }

  private:
    void give(PlayoutCommand command) { commands_.push_back(std::move(command)); }

    MediaClock clock_;
    std::vector<PlayoutCommand> commands_;
};

/// The left channel of the frames [first, first + count), rendered in pieces of `step`; each command is given
/// before the first piece that ends behind its time, or, with `late`, all before the first piece.
inline std::vector<float> renderLeft(PlayoutTimeline& timeline, const std::vector<PlayoutCommand>& commands,
                                     const airplay::FrameGrid& grid, airplay::FrameIndex first,
                                     airplay::FrameIndex count, airplay::FrameIndex step, bool late = false) {
    std::vector<float> left;
    auto next = commands.begin();
    for (airplay::FrameIndex frame = first; frame < first + count; frame += step) {
        const auto frames = static_cast<std::size_t>(std::min(step, first + count - frame));
        const dispatch::HostTime end = grid.timeOf(frame + static_cast<airplay::FrameIndex>(frames));
        for (; next != commands.end() && (late || next->at < end); ++next) {
            timeline.give(*next);
        }
        std::vector<float> out(2 * frames, 12345.0F);
        const bool sounds = timeline.render(grid, frame, out) == airplay::Rendered::sound;
        for (std::size_t index = 0; index < frames; ++index) {
            left.push_back(sounds ? out[2 * index] : 0.0F);
        }
    }
    return left;
}

} // namespace avfoundation
