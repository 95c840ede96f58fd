// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Realm.h"
#include "platform/lmn/AudioServer.h"
#include "platform/lmn/LMNDeviceManager.h"
#include "platform/lmn/LMNPacer.h"

#include <map>
#include <memory>
#include <utility>

namespace lmn {

/// The framework within one process: its IO queue, the pacers on it, the devices and the audio server.
/// Made by the composition root; outlives every tap and session runner.
class LMNSystem {
  public:
    LMNSystem(dispatch::Realm& realm, LMNDeviceManager& manager, AudioServer& server);
    ~LMNSystem();

    dispatch::Realm& realm() { return realm_; }
    LMNDeviceManager& deviceManager() { return manager_; }
    AudioServer& audioServer() { return server_; }

    /// Where taps do their IO, and whence session runners are driven.
    dispatch::Queue& ioQueue() { return *ioQueue_; }

    /// The pacer that taps and session runners of one frame count and rate share. On the IO queue.
    LMNPacer& pacer(std::uint32_t frameCount, double sampleRate);

    /// Fault switch: every pacer's wake-ups come late by what this gives. Before the first tap starts.
    void setWakeDelays(std::function<dispatch::Nanoseconds()> delays) { wakeDelays_ = std::move(delays); }

    /// Over all pacers. Not from the IO queue.
    PacerFigures pacerFigures();

  private:
    dispatch::Realm& realm_;
    LMNDeviceManager& manager_;
    AudioServer& server_;
    std::function<dispatch::Nanoseconds()> wakeDelays_;
    const std::unique_ptr<dispatch::Queue> ioQueue_;
    std::map<std::pair<std::uint32_t, double>, std::unique_ptr<LMNPacer>> pacers_; // of the IO queue
};

} // namespace lmn
