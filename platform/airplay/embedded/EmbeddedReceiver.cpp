// SPDX-License-Identifier: MIT
#include "platform/airplay/embedded/EmbeddedReceiver.h"

#include "platform/airplay/embedded/SoundFileOutput.h"

#include <utility>

namespace airplay {

EmbeddedReceiver::EmbeddedReceiver(ReceiverEntry entry, Report report, FrameObserver observer)
    : entry_(std::move(entry)),
      report_(std::move(report)),
      observer_(std::move(observer)),
      volume_(entry_.volume) {}

void EmbeddedReceiver::setVolume(float volume) noexcept {
    // The order of the comparisons keeps a number that is none out as well.
    volume_.store(volume > 0 ? (volume < 1 ? volume : 1) : 0);
}

std::unique_ptr<ReceiverOutput> EmbeddedReceiver::open(const FrameGrid&) {
    return std::make_unique<SoundFileOutput>(entry_, report_, observer_);
}

} // namespace airplay
