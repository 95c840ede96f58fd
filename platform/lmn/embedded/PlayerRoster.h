// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Signal.h"
#include "platform/lmn/LMNDevice.h"
#include "platform/lmn/embedded/PlayerVoice.h"

#include <array>
#include <atomic>
#include <functional>
#include <map>
#include <memory>

namespace lmn {

/// The players of one device, between the server queue, where they come and go, and the IO queue, which
/// mixes them. Shared by both sides and by the players' sessions.
class PlayerRoster final : public ServedDevice, public std::enable_shared_from_this<PlayerRoster> {
  public:
    static constexpr std::size_t maximumPlayers = 32;

    PlayerRoster(std::shared_ptr<LMNDevice> device, dispatch::Queue& serverQueue);
    ~PlayerRoster() override;

    const std::shared_ptr<LMNDevice>& device() const { return device_; }

    // On the server queue.

    /// A place in the mix; nullptr when all are taken. `wantsFrames` is called on the server queue when the
    /// player should send more.
    PlayerVoice* join(LMNProcess process, std::function<void()> wantsFrames);

    /// To be told after frames were written, or the end set: lets the player in when it is time.
    void framesArrived(PlayerVoice& voice);

    /// The player's session no longer wants to be told.
    void forget(const PlayerVoice& voice);

    // For the taps.

    foundation::Subscription observeSoundBegins(std::function<void()> handler) override;
    void advance(std::uint64_t period, std::uint32_t frames) noexcept override;
    bool mix(const LMNSource& source, LMNBuffer& buffer) noexcept override;
    bool hasSound(const LMNSource& source) const noexcept override;

    /// Underruns of all players so far. Any thread.
    std::uint64_t underruns() const;

  private:
    struct Place {
        std::atomic<PlayerVoice*> voice{nullptr}; // set once by the server queue, read by the IO queue
        std::unique_ptr<PlayerVoice> owned;       // of the server queue
        std::function<void()> wantsFrames;        // of the server queue
    };

    void attendToPlayers();
    void publishProcesses();
    template <typename Visit>
    void forEachVoice(Visit visit) const;

    const std::shared_ptr<LMNDevice> device_;
    dispatch::Queue& serverQueue_;
    std::array<Place, maximumPlayers> places_;
    std::uint64_t period_ = UINT64_MAX; // of the IO queue: the one last taken
    std::unique_ptr<dispatch::Signal> attention_;
    dispatch::Lock handlersLock_;
    std::map<std::uint64_t, std::function<void()>> handlers_ ORB_GUARDED_BY(handlersLock_);
    std::uint64_t nextHandler_ ORB_GUARDED_BY(handlersLock_) = 0;
};

} // namespace lmn
