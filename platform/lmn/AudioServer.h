// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/Subscription.h"
#include "platform/lmn/LMNBuffer.h"
#include "platform/lmn/LMNTapConfig.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

namespace lmn {

class LMNDevice;

/// A device cannot be served; `what()` names the device and the reason.
class AudioServerError final : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The playing side of one virtual device: what is played into it, by whom. Made by an `AudioServer`; shared
/// by the taps on the device. Sound is 32-bit float at `sampleRate`, two channels.
class ServedDevice {
  public:
    static constexpr double sampleRate = 44100.0; // Hz
    static constexpr std::uint32_t channelCount = 2;

    ServedDevice() = default;
    virtual ~ServedDevice() = default;
    ServedDevice(const ServedDevice&) = delete;
    ServedDevice& operator=(const ServedDevice&) = delete;

    /// `handler` is called, on any thread, when there may be sound where there was none.
    virtual foundation::Subscription observeSoundBegins(std::function<void()> handler) = 0;

    /// Takes the next `frames` frames of every player off its stream. All taps of the device share them:
    /// only the first call for a `period` takes, further ones are nothing. Periods are numbered upwards.
    /// On the IO queue; real-time: no lock, no allocation.
    virtual void advance(std::uint64_t period, std::uint32_t frames) noexcept = 0;

    /// Adds the frames last taken of the processes that `source` captures into `buffer`, through its channel
    /// mappings. On the IO queue; real-time. False when none of these processes has anything left to play.
    virtual bool mix(const LMNSource& source, LMNBuffer& buffer) noexcept = 0;

    /// Whether a process that `source` captures has sound to play. On the IO queue.
    virtual bool hasSound(const LMNSource& source) const noexcept = 0;
};

/// Seam: where virtual devices get their sound from. The embedded server lets players connect to a socket of
/// the device; a sink of the machine's sound server may stand beside it.
class AudioServer {
  public:
    AudioServer() = default;
    virtual ~AudioServer() = default;
    AudioServer(const AudioServer&) = delete;
    AudioServer& operator=(const AudioServer&) = delete;

    /// Serves the device until all who asked for it have dropped the result, and keeps its
    /// `activeProcesses` up to date: the processes that have sound in it or are about to have.
    /// On the main queue. Throws `AudioServerError`.
    virtual std::shared_ptr<ServedDevice> serve(const std::shared_ptr<LMNDevice>& device) = 0;
};

} // namespace lmn
