// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/PlaybackSystem.h"
#include "platform/avfoundation/MediaDataRequests.h"
#include "platform/avfoundation/PlayoutTimeline.h"
#include "platform/dispatch/Ownership.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace avfoundation {

class PlaybackLine;

/// What was told to one renderer and not yet taken by the playout. It never grows: when it is full, buffers
/// are refused and of everything else the outcome is kept. Guarded by whoever owns it; only `take` may let go
/// of a buffer.
class PlayoutJournal {
  public:
    static constexpr std::size_t capacity = 1024;

    PlayoutJournal() { commands_.reserve(capacity); }

    /// False when there is no room for a buffer.
    bool push(PlayoutCommand&& command) noexcept;

    /// Exchanges what has gathered for `taken`, which is empty and has `capacity`, in no time to speak of.
    void take(std::vector<PlayoutCommand>& taken);

    bool isEmpty() const noexcept { return commands_.empty(); }

  private:
    std::vector<PlayoutCommand> commands_;
    std::optional<dispatch::HostTime> overflowedFlush_;
    std::optional<MediaClock> overflowedClock_;
};

/// The clock of a synchroniser and the lines it drives: the one lock that playing takes on real-time threads.
/// Shared by the synchroniser and its renderers. Any thread.
class PlaybackCore : public std::enable_shared_from_this<PlaybackCore> {
  public:
    bool isRunning() const noexcept { return running_.load(); }

    /// Whether that was a change.
    bool setRunning(bool running, dispatch::HostTime at) noexcept ORB_EXCLUDES(lock);

    airplay::Ticks read(dispatch::HostTime at) noexcept ORB_EXCLUDES(lock);

    /// Makes this the core of a line, and lets the playout ask it from now on.
    void add(const std::shared_ptr<PlaybackLine>& line, airplay::PlaybackSystem& system,
             airplay::ProcessIdentifier process) ORB_EXCLUDES(lock);
    void remove(const PlaybackLine& line) noexcept ORB_EXCLUDES(lock);

    dispatch::Lock lock;
    MediaClock clock ORB_GUARDED_BY(lock);

  private:
    airplay::Ticks latestReading_ ORB_GUARDED_BY(lock) = 0;
    std::vector<PlaybackLine*> lines_ ORB_GUARDED_BY(lock);
    std::atomic<airplay::PlaybackSystem*> system_{nullptr}; // written by `add`, read by anybody
    std::atomic<bool> running_{false};                      // written under the lock, read by anybody
};

/// What a renderer and the playout have in common. Shared by both, so that either may go first.
class PlaybackLine final : public airplay::FrameSource {
  public:
    explicit PlaybackLine(std::size_t readyLimit);

    /// Tells the playout something. False when a buffer found no room.
    bool tell(PlayoutCommand&& command, MediaClock& clockNow) noexcept;
    const std::shared_ptr<MediaDataRequests>& requests() const noexcept { return requests_; }

    PlayoutCounters counters() const;
    std::uint64_t overflowed() const noexcept { return overflowed_.load(); }

    /// The renderer is going.
    void close() noexcept;

    airplay::Rendered render(const airplay::FrameGrid& grid, airplay::FrameIndex first,
                             std::span<float> out) noexcept override;
    void pass(dispatch::HostTime until) noexcept override;
    bool isActive() const noexcept override;

  private:
    friend class PlaybackCore;

    /// For the core, under its lock, which is this line's lock as well.
    void setClock(const MediaClock& clock) noexcept ORB_NO_THREAD_SAFETY_ANALYSIS;
    void takeJournal();
    void tellProgress();

    const std::shared_ptr<MediaDataRequests> requests_;
    std::shared_ptr<PlaybackCore> ownedCore_; // set before the playout and other threads see the line
    PlaybackCore* core_;                      // that one, for the analysis
    PlayoutJournal journal_ ORB_GUARDED_BY(core_->lock);
    PlayoutCounters counters_ ORB_GUARDED_BY(core_->lock); // as of the last step
    std::atomic<std::uint64_t> overflowed_{0};             // written by the renderer, read by anybody
    PlayoutTimeline timeline_;                             // playout queue
    std::vector<PlayoutCommand> taken_;                    // playout queue; room for what the journal holds
};

} // namespace avfoundation
