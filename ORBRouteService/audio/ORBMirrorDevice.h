// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/audio/ChunkAccumulator.h"
#include "ORBRouteService/audio/HTMixQueue.h"
#include "ORBRouteService/audio/ORBTapIOContext.h"
#include "ORBRouteService/audio/PendingSampleBuffers.h"
#include "ORBRouteService/audio/RenderTimeline.h"
#include "ORBRouteService/audio/SilenceWatch.h"
#include "ORBRouteService/audio/settings/ORBManager.h"
#include "ORBRouteService/devices/AVOutputContextProtocol.h"

#include "platform/avfoundation/AVSampleBufferAudioRenderer.h"
#include "platform/avfoundation/AVSampleBufferRenderSynchronizer.h"
#include "platform/dispatch/Debounce.h"
#include "platform/dispatch/Semaphore.h"
#include "platform/lmn/LMNSystem.h"
#include "platform/lmn/LMNTap.h"

#include <atomic>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace orb {

/// What a mirror device works with; all outlive it.
struct ORBMirrorDeviceContext {
    lmn::LMNSystem& lmn;
    airplay::PlaybackSystem& playback;
    foundation::NotificationCenter& notifications;
    ORBManager& manager;
    std::shared_ptr<TapIOActivity> tapActivity;
    std::function<dispatch::HostTime()> lastPause; // when the user last paused; any thread, real-time
    std::function<void()> reexamineRenderState;    // on the main queue, some time after the state has changed
    avfoundation::EnqueueObserver enqueueObserver; // for measuring; may be empty
    coremedia::CMAllocator* allocator = nullptr;   // of sample buffers; nullptr: the heap
};

/// What a mirror device mirrors, and how.
struct ORBMirrorDeviceConfig {
    std::shared_ptr<lmn::LMNDevice> contextDevice;              // whose sound is captured
    std::shared_ptr<AVOutputContextProtocol> context;           // whose output devices play it
    std::uint32_t chunkSize = ORBManager::fixedRenderChunkSize; // frames
    double renderSampleRate = ORBManager::renderSampleRate;     // Hz
    double syncLatency = 2.0;                                   // s from capture to presentation
};

/// Plays the captured sound of a virtual device to the output devices of a context.
///
///     IO queue      tap -> HTMixQueue
///     runnerQueue              HTMixQueue -> silence, resynchronisation, warm-up -> chunk -> pending buffers
///     rendererQueue                                                                          pending ->
///     renderer tapQueue      target devices and output devices change, synchronously from the main queue
///
/// In each period the IO queue writes before the runner's cycle reads. The state of the chunk, its time line
/// and the pending buffers are guarded by one lock, `pendingSampleBuffersLock_`: a reset from any thread is
/// whole.
///
/// Shared because IO contexts, cycles and the feeding loop hold it weakly across threads; whoever lets go
/// last, it is destroyed on the main queue. Made and used there, unless an operation says otherwise.
class ORBMirrorDevice final : public lmn::LMNTapDelegate,
                              public lmn::LMNSessionRunnerDelegate,
                              public std::enable_shared_from_this<ORBMirrorDevice> {
  public:
    using Devices = std::vector<std::shared_ptr<lmn::LMNDevice>>; // a set: sorted, each once

    /// Longest render latency, s; keeps what is on its way within the renderer's bounds. More is this much.
    static constexpr double longestSyncLatency = 30.0;

    /// IO cycles for which the devices must have been there before anything is rendered.
    static constexpr std::int64_t warmupCycles = 10;

    /// Makes the device; capture has begun when this returns.
    static std::shared_ptr<ORBMirrorDevice> create(ORBMirrorDeviceContext context,
                                                   ORBMirrorDeviceConfig config);

    ~ORBMirrorDevice() override;
    ORBMirrorDevice(const ORBMirrorDevice&) = delete;
    ORBMirrorDevice& operator=(const ORBMirrorDevice&) = delete;

    /// The devices that the workflow wants connected. Both wait for `tapQueue`.
    Devices targetDevices();
    void setTargetDevices(Devices devices);

    /// The context's output devices have changed. Waits for `tapQueue`.
    void outputDevicesChanged();

    /// Stops capture, session and sound.
    void stop(std::string_view reason);

    /// Waits, after `stop`, until nothing of the device runs on another queue. For whoever takes down what
    /// the device works with: dropped after this, it is destroyed at once.
    void drain();

    enum class Flush { no, yes };

    /// Discards the partial chunk and all that is queued; with `Flush::yes` also stops the synchroniser and
    /// drops what the renderer has. Any thread, real-time ones included. An empty reason is not logged.
    void resetRendererState(Flush flush, std::string_view reason);

    /// Whether the tap is started. Any thread may read.
    bool running() const { return running_.load(); }
    void setRunning(bool running);

    /// Set when the playing devices differ from the target devices; whoever acts on it clears it. Any thread.
    bool needsReconnect() const { return needsReconnect_.load(); }
    void clearNeedsReconnect() { needsReconnect_.store(false); }

    /// Length of the present run of silent cycles, s. Any thread.
    double silentSeconds() const { return silence_.silentSeconds(); }

    avfoundation::AVSampleBufferRenderSynchronizer& syncronizer() { return *syncronizer_; }
    avfoundation::AVSampleBufferAudioRenderer& renderer() { return *renderer_; }
    lmn::LMNTap& deviceTap() { return *deviceTap_; }
    lmn::LMNSessionRunner& runner() { return *runner_; }
    lmn::LMNDispatchQueue& tapQueue() { return *tapQueue_; }

    /// "<ORBMirrorDevice address>[UID of the context device]".
    const std::string& description() const { return description_; }

    // Called by the tap and the session runner.

    std::shared_ptr<lmn::LMNTapIOContext> createIOContext(lmn::LMNTap& tap,
                                                          const lmn::LMNTapConfig& config) override;
    void sessionRunnerDidStart(lmn::LMNSessionRunner& runner, std::uint32_t frameCount,
                               double sampleRate) override;
    void sessionRunnerDidStop(lmn::LMNSessionRunner& runner) override;

    /// One IO cycle. Real-time: takes no lock but the mix queue's and `pendingSampleBuffersLock_`, and
    /// allocates nothing but the sample buffer of a finished chunk.
    void performIOCycle(lmn::LMNSessionRunner& runner, std::int64_t sampleTime) override;

  private:
    struct FeedMemory;
    using PendingGuard = dispatch::LockGuard<dispatch::Lock>;

    ORBMirrorDevice(ORBMirrorDeviceContext context, ORBMirrorDeviceConfig config);

    // Creation.
    void begin();
    lmn::LMNTapConfig makeTapConfig() const;
    void observeContextDevice();
    void activeProcessesSettled();

    // The IO cycle, on runnerQueue.
    double reportedLatency() const;
    bool pausedWithin(double seconds) const;
    bool stopWhenSilent();
    bool resynchroniseWhenNeeded(bool silent);
    void recordClock(std::string_view occasion, double startLatency) const;
    bool warmUp();
    void accumulate();
    void enqueueChunk() ORB_REQUIRES(pendingSampleBuffersLock_);
    void wakeFeedingLoop();
    void reviewDevices(bool silent);

    // The feeding loop, on rendererQueue.
    void installFeedingLoop();
    static dispatch::Task<> feed(std::weak_ptr<ORBMirrorDevice> weak,
                                 std::shared_ptr<dispatch::Queue> keptUntilTheEnd,
                                 std::shared_ptr<FeedMemory> memory);
    bool feedOne(FeedMemory& memory);
    void watchLowBuffer(FeedMemory& memory, const coremedia::CMTime& now)
        ORB_REQUIRES(pendingSampleBuffersLock_);
    void correctTimeline(const RenderTimeline::Position& position) ORB_REQUIRES(pendingSampleBuffersLock_);
    void logFeed(FeedMemory& memory, const coremedia::CMTime& presentationTime,
                 const RenderTimeline::Position& position) const;

    const ORBMirrorDeviceContext context_;
    const ORBMirrorDeviceConfig config_;
    const std::string description_;
    const double syncLatency_;
    const std::shared_ptr<lmn::LMNDispatchQueue> tapQueue_;
    const std::shared_ptr<lmn::LMNDispatchQueue> runnerQueue_;
    const std::shared_ptr<dispatch::Queue>
        rendererQueue_; // shared with the feeding loop, which may end later
    const std::unique_ptr<avfoundation::AVSampleBufferRenderSynchronizer> syncronizer_;
    const std::unique_ptr<avfoundation::AVSampleBufferAudioRenderer> renderer_;
    const std::shared_ptr<HTMixQueue> mixQueue_; // shared with the IO contexts
    const std::shared_ptr<const coremedia::CMAudioFormatDescription> audioFormatDescription_;
    const std::shared_ptr<lmn::LMNSessionRunner> runner_;
    const std::unique_ptr<lmn::LMNTap> deviceTap_;
    const double renderVolume_ = 1.0;

    // Of runnerQueue.
    lmn::LMNBuffer mixBuffer_;    // one cycle
    lmn::LMNBuffer renderBuffer_; // one finished chunk
    bool startupWarmupActive_ = false;

    // Written and read across threads.
    SilenceWatch silence_;
    std::atomic<bool> needsResync_{false}; // asked for by tapQueue and runnerQueue, taken by runnerQueue
    std::atomic<bool> hasConnectedBefore_{false};    // by tapQueue, read by runnerQueue
    std::atomic<std::int64_t> connectedBuffers_{0};  // zeroed by tapQueue, counted by runnerQueue
    std::atomic<std::size_t> connectedCount_{0};     // by tapQueue, read by runnerQueue
    std::atomic<bool> running_{false};               // by the main queue, read by anybody
    std::atomic<bool> needsReconnect_{false};        // by runnerQueue, taken by the main queue
    std::atomic<bool> isRequestingMediaData_{false}; // by runnerQueue and resets, read by rendererQueue

    dispatch::Lock pendingSampleBuffersLock_;
    ChunkAccumulator accumulator_ ORB_GUARDED_BY(pendingSampleBuffersLock_);
    RenderTimeline timeline_ ORB_GUARDED_BY(pendingSampleBuffersLock_);
    PendingSampleBuffers pendingSampleBuffers_ ORB_GUARDED_BY(pendingSampleBuffersLock_);
    Devices targetDevices_ ORB_GUARDED_BY(pendingSampleBuffersLock_);
    Devices connectedVirtualDevices_ ORB_GUARDED_BY(pendingSampleBuffersLock_);

    dispatch::Semaphore hasDataSemaphore_;
    std::unique_ptr<dispatch::Signal> install_; // from `begin` on
    dispatch::Signal review_;
    dispatch::Debounce processesSettled_;
    std::vector<foundation::Subscription> cancellable_;
};

} // namespace orb
