// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Realm.h"
#include "platform/lmn/AudioServer.h"
#include "platform/lmn/embedded/PlayerRoster.h"

#include <map>
#include <memory>
#include <string>

namespace lmn {

/// Serves virtual devices by itself: players of the same user connect to the device's socket and stream (see
/// `PlayerProtocol.h`). All sockets are served on one queue of its own. Made by the composition root;
/// outlives every device it serves.
class EmbeddedAudioServer final : public AudioServer {
  public:
    explicit EmbeddedAudioServer(dispatch::Realm& realm);
    ~EmbeddedAudioServer() override;

    std::shared_ptr<ServedDevice> serve(const std::shared_ptr<LMNDevice>& device) override;

    /// Frames that players owed and did not send in time: periods, over all devices served so far.
    std::uint64_t underruns() const;

    dispatch::Queue& queue() { return *queue_; }

  private:
    class Door;

    std::shared_ptr<PlayerRoster> openDoor(const std::shared_ptr<LMNDevice>& device);

    dispatch::Realm& realm_;
    const std::unique_ptr<dispatch::Queue> queue_;
    std::map<std::string, std::weak_ptr<PlayerRoster>> served_; // of the main queue
};

} // namespace lmn
