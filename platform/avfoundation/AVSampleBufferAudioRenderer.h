// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/PlaybackSystem.h"
#include "platform/avfoundation/PlayoutTimeline.h"
#include "platform/coremedia/CMSampleBuffer.h"
#include "platform/dispatch/Task.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace avfoundation {

class PlaybackLine;

/// An accepted buffer, as a bench wants to know it.
struct EnqueuedBuffer {
    coremedia::CMTime presentationTime;
    std::int64_t frames = 0;
    std::optional<dispatch::HostTime>
        heardAt; ///< its first frame, as media time runs now; nullopt: it is held
    dispatch::HostTime enqueuedAt{};
};

/// On the thread that enqueues, under no lock. It does not throw.
using EnqueueObserver = std::function<void(const EnqueuedBuffer&)>;

/// What became of the buffers. `timeline` is as of the last step of the playout.
struct RendererCounters {
    PlayoutCounters timeline;
    std::uint64_t refused = 0;    ///< buffers of a wrong format, or of a time over 100 years away
    std::uint64_t overflowed = 0; ///< buffers that found the journal full
};

/// Plays sample buffers at their presentation times, on the clock of the synchroniser it was added to,
/// wherever the sound of its process is heard. Owned by whoever plays.
///
/// All operations may be called by any thread, `flush`, `isReadyForMoreMediaData` and
/// `stopRequestingMediaData` by real-time ones: `flush` takes the synchroniser's one short lock, the others
/// none; they allocate nothing and make no system call but the clock's and, in a flush, the waking of the
/// playout.
///
/// What it is told goes through a journal of 1024 entries to the playout queue, which takes it at every step
/// (a twelfth of a second). Should the playout ever fall so far behind that the journal is full, further
/// buffers are dropped and counted, and of further flushes and changes of the rate the outcome is kept: the
/// state is right when it goes on, only the sound in between is lost.
class AVSampleBufferAudioRenderer {
  public:
    /// Buffers it is ready for. At 8192 frames each they are 48 s of sound in 16 MB: far more than any render
    /// latency, so readiness never holds up a player that is on time, and a bound for one that plays to
    /// nobody.
    static constexpr std::size_t readyLimit = 256;

    /// `system` outlives it. `observer` may be empty.
    AVSampleBufferAudioRenderer(airplay::PlaybackSystem& system, airplay::ProcessIdentifier process,
                                EnqueueObserver observer = {});

    /// Ends the request. An invocation that still runs is cancelled and unwinds on its queue, later, with all
    /// it needs of the renderer.
    ~AVSampleBufferAudioRenderer();
    AVSampleBufferAudioRenderer(const AVSampleBufferAudioRenderer&) = delete;
    AVSampleBufferAudioRenderer& operator=(const AVSampleBufferAudioRenderer&) = delete;

    /// Plays a buffer, never null, from its presentation time on. One that is not packed stereo float at
    /// 44100 Hz is dropped, counted and, the first time, reported. Until the renderer was added to a
    /// synchroniser buffers only gather.
    void enqueueSampleBuffer(std::shared_ptr<const coremedia::CMSampleBuffer> buffer);

    /// Drops everything not yet played.
    void flush() noexcept;

    /// Whether a request is installed and fewer than `readyLimit` buffers are queued.
    bool isReadyForMoreMediaData() const noexcept;

    /// Installs a request in place of the one before. Its handler is started as a task on `queue` when the
    /// renderer is ready: once now, and again whenever the renderer becomes ready after it was not.
    /// Invocations never overlap, whatever their request and queue: what falls due while one runs is one more
    /// invocation after it. `queue` outlives the last invocation. The handler may stop or replace the
    /// request.
    void requestMediaDataWhenReady(dispatch::Queue& queue, std::function<dispatch::Task<>()> handler);

    /// Ends the request: the renderer is no longer ready, and no invocation begins. One that runs goes on.
    void stopRequestingMediaData() noexcept;

    RendererCounters counters() const;

  private:
    friend class AVSampleBufferRenderSynchronizer;

    airplay::PlaybackSystem& system_;
    const airplay::ProcessIdentifier process_;
    const EnqueueObserver observer_;
    const std::shared_ptr<PlaybackLine> line_;
    std::atomic<std::uint64_t> refused_{0}; // written by whoever enqueues, read by anybody
};

} // namespace avfoundation
