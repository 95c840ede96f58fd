// SPDX-License-Identifier: MIT
#pragma once

#include "orbctl/sound/Frames.h"

#include "platform/dispatch/Ownership.h"
#include "platform/dispatch/Realm.h"
#include "platform/dispatch/Task.h"
#include "platform/foundation/RuntimeDirectory.h"
#include "platform/lmn/embedded/PlayerClient.h"

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace orbctl {

/// How far the sound has come.
struct PlayerFigures {
    double heard = 0;    // s of sound that has come out at the far end, by the clock
    double buffered = 0; // s that the devices have and have not played
    double peak = 0;     // loudest sample heard since the figures were last taken, full scale is 1
};

/// Streams one sound into any number of devices at once, on a queue of its own, since sending waits until the
/// devices take more. They all hear the same; the slowest paces the others. Before and behind the sound goes
/// silence, so that its beginning is not lost and its end heard before the devices are left: behind it as
/// much as what is on its way takes, after a service has stood still too.
///
/// Made and used on the main queue. Before it is destroyed, it is stopped and its devices are gone, or a send
/// may wait for ever.
class Player {
  public:
    struct Events {
        std::function<void(const std::string& uid, const std::string& reason)>
            lost;                                                         ///< a device takes no more
        std::function<void(std::optional<std::string> failure)> finished; ///< all heard, or why it cannot be
    };

    /// Events are told on the main queue. `latency` is that between a device and the far end, s.
    Player(dispatch::Realm& realm, std::unique_ptr<FrameReader> sound, double latency, Events events);
    ~Player();
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    /// Connects to a device, which is given some seconds to be there. Before `start`. Throws
    /// std::runtime_error.
    dispatch::Task<> addDevice(std::string uid, const foundation::RuntimeDirectory& device);

    void start();

    /// Reads and sends no more; nobody is told.
    void stop() { isStopped_->store(true); }

    PlayerFigures figures();

  private:
    /// Of one block of sound.
    struct Peak {
        double end = 0; // s of sound
        float value = 0;
    };

    struct Output {
        std::string uid;
        lmn::PlayerClient client;
    };

    dispatch::Task<std::optional<std::string>> connect(std::string uid,
                                                       const foundation::RuntimeDirectory& device);
    void pump();
    std::size_t nextBlock();
    std::size_t silence(FrameNumber& left);
    std::size_t tail();
    void noteTaken(dispatch::Nanoseconds duration);
    void send(std::span<const float> block);
    void noteSent(std::span<const float> block);
    dispatch::Nanoseconds unplayed();
    void finish(std::optional<std::string> failure);
    void tellMain(dispatch::Nanoseconds delay, std::function<void()> tell);

    dispatch::Realm& realm_;
    const std::unique_ptr<FrameReader> sound_; // of the queue, as all up to `soundFrames_`
    FrameNumber leadFrames_;                   // silence still to be sent before the sound, and behind it
    FrameNumber tailFrames_;
    const FrameNumber tailAfterStandstill_;  // added to the tail once, when a service has stood still
    const dispatch::Nanoseconds standstill_; // a send that takes longer shows it
    const double latency_;                   // from sending, lead-in included, to hearing, s
    const Events events_;
    std::vector<Output> outputs_;
    std::vector<float> block_;
    FrameNumber soundFrames_ = 0; // of the queue; sent so far
    FrameNumber tailSent_ = 0;    // of the queue
    bool stoodStill_ = false;     // of the queue

    /// Set by main, read by both; shared with what is on its way to main.
    const std::shared_ptr<std::atomic<bool>> isStopped_ = std::make_shared<std::atomic<bool>>(false);
    dispatch::Lock lock_;
    std::deque<Peak> peaks_ ORB_GUARDED_BY(lock_);                  // of what is sent and not heard
    double sent_ ORB_GUARDED_BY(lock_) = 0;                         // s, sound and silence
    double soundSent_ ORB_GUARDED_BY(lock_) = 0;                    // s, sound
    std::optional<dispatch::HostTime> start_ ORB_GUARDED_BY(lock_); // when second 0 was played
    std::unique_ptr<dispatch::Queue> queue_;                        // last: its work uses the others
};

} // namespace orbctl
