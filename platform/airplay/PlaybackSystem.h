// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/FrameSource.h"
#include "platform/airplay/Receiver.h"
#include "platform/airplay/Route.h"
#include "platform/dispatch/Realm.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace airplay {

class Playout;

/// Takes one line for the log. Any thread.
using Report = std::function<void(std::string line)>;

/// The playing side of the system, one for each process: the queue "airplay.playout"
/// that plays all routes out, and who is heard where. Built by the composition root before, and destroyed
/// after, everything that plays.
///
/// The playout runs in steps of 4096 frames (93 ms), always up to now, those missed at once and in order. It
/// asks each player of a route once and hands the sum to every receiver of the route. It wakes up only while
/// a receiver is connected and a player of the process tied to it is active.
class PlaybackSystem {
  public:
    PlaybackSystem(dispatch::Realm& realm, Report report);

    /// Finishes. On the main queue or where nothing runs on it.
    ~PlaybackSystem();
    PlaybackSystem(const PlaybackSystem&) = delete;
    PlaybackSystem& operator=(const PlaybackSystem&) = delete;

    dispatch::Realm& realm() const noexcept { return realm_; }
    const Report& report() const noexcept { return report_; }

    /// A route without receivers and without a process; on the main queue.
    std::unique_ptr<Route> makeRoute();

    /// Lets a player be heard wherever the sound of its process is, now and later; until it is detached,
    /// after which it may still be asked once more. Any thread.
    void attach(std::shared_ptr<FrameSource> source, ProcessIdentifier process);
    void detach(const std::shared_ptr<FrameSource>& source);

    /// Something was told to a player. Any thread, real-time ones included: takes no lock and allocates
    /// nothing.
    void wake() noexcept;

    /// Plays out up to now and ends every receiver's output, all those of a route at the same frame. Waits
    /// for the playout queue. Nothing is heard afterwards. Idempotent; on the main queue.
    void finish();

    /// For what has to run in turn with the playout.
    dispatch::Queue& playoutQueue() const noexcept;

  private:
    dispatch::Realm& realm_;
    const Report report_;
    const std::shared_ptr<Playout> playout_;
    const std::shared_ptr<Route::Users> users_;
};

} // namespace airplay
