// SPDX-License-Identifier: MIT
#include "ORBRouteService/audio/ORBMirrorDevice.h"

#include "ORBRouteService/audio/SampleBuffers.h"
#include "ORBRouteService/devices/AVOutputDeviceAccessors.h"
#include "ORBRouteService/log/ORBDebugLog.h"
#include "ORBRouteService/log/flight/FlightRecorder.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace orb {
namespace {

/// Frames of the ring between capture and render.
constexpr std::uint32_t mixQueueSize = 16384;

/// Quiet time after which a change of the playing processes counts.
constexpr dispatch::Nanoseconds processesQuiet = std::chrono::milliseconds(300);

/// Lead-out of the tap, s, at the least.
constexpr double leastLeadout = 3.0;

std::uint32_t cycleFrames(std::uint32_t chunkSize) {
    return std::min(lmn::LMNTapConfig::maximumFrameCount, chunkSize);
}

/// A latency that sound can be rendered with.
double usableLatency(double latency, double chunkDuration) {
    if (!std::isfinite(latency) || latency > ORBMirrorDevice::longestSyncLatency) {
        const double used = std::isnan(latency) || latency < 0 ? 2.0 : ORBMirrorDevice::longestSyncLatency;
        ORBDebugLog(4, "ORBMirrorDevice: a latency of {} s cannot be used, {} s is", LogNumber{latency},
                    LogNumber{used});
        return used;
    }
    if (latency <= chunkDuration)
        ORBDebugLog(4,
                    "ORBMirrorDevice: a latency of {} s is not above the {} s of a chunk: sound comes too "
                    "late to be heard",
                    LogNumber{latency}, LogNumber{chunkDuration});
    return latency;
}

void makeSet(ORBMirrorDevice::Devices& devices) {
    std::ranges::sort(devices);
    const auto repeated = std::ranges::unique(devices);
    devices.erase(repeated.begin(), repeated.end());
}

} // namespace

std::shared_ptr<ORBMirrorDevice> ORBMirrorDevice::create(ORBMirrorDeviceContext context,
                                                         ORBMirrorDeviceConfig config) {
    dispatch::Queue& main = context.lmn.realm().mainQueue();
    std::shared_ptr<ORBMirrorDevice> device(new ORBMirrorDevice(std::move(context), std::move(config)),
                                            [&main](ORBMirrorDevice* last) {
                                                if (main.isCurrent())
                                                    delete last;
                                                else
                                                    main.async([last] { delete last; });
                                            });
    device->begin();
    return device;
}

ORBMirrorDevice::ORBMirrorDevice(ORBMirrorDeviceContext context, ORBMirrorDeviceConfig config)
    : context_(std::move(context)),
      config_(std::move(config)),
      description_(
          fmt::format("<ORBMirrorDevice {}>[{}]", fmt::ptr(this), config_.contextDevice->deviceUID())),
      syncLatency_(usableLatency(config_.syncLatency, config_.chunkSize / config_.renderSampleRate)),
      tapQueue_(std::make_shared<lmn::LMNDispatchQueue>(context_.lmn.realm(), "tapQueue")),
      runnerQueue_(std::make_shared<lmn::LMNDispatchQueue>(context_.lmn.realm(), "runnerQueue")),
      rendererQueue_(context_.lmn.realm().makeQueue("com.fernwick.orbmirrordevice.renderer")),
      syncronizer_(std::make_unique<avfoundation::AVSampleBufferRenderSynchronizer>(context_.lmn.realm(),
                                                                                    context_.notifications)),
      renderer_(std::make_unique<avfoundation::AVSampleBufferAudioRenderer>(context_.playback, ::getpid(),
                                                                            context_.enqueueObserver)),
      mixQueue_(std::make_shared<HTMixQueue>(2, config_.renderSampleRate, mixQueueSize)),
      audioFormatDescription_(makeRenderFormat(config_.renderSampleRate, context_.allocator)),
      runner_(std::make_shared<lmn::LMNSessionRunner>(
          context_.lmn, runnerQueue_, cycleFrames(config_.chunkSize), config_.renderSampleRate)),
      deviceTap_(std::make_unique<lmn::LMNTap>(context_.lmn, makeTapConfig(), tapQueue_)),
      mixBuffer_(2, cycleFrames(config_.chunkSize), config_.renderSampleRate),
      renderBuffer_(2, config_.chunkSize, config_.renderSampleRate),
      accumulator_(config_.chunkSize, config_.contextDevice->channelCount()),
      timeline_(config_.chunkSize, config_.renderSampleRate, syncLatency_),
      hasDataSemaphore_(*rendererQueue_, 0),
      review_(context_.lmn.realm().mainQueue(), context_.reexamineRenderState),
      processesSettled_(context_.lmn.realm().mainQueue(), processesQuiet,
                        [this] { activeProcessesSettled(); }) {
    ORBDebugLog(0, "ORBMirrorDevice init: frames={} rate={} syncLatency={}", config_.chunkSize,
                LogNumber{config_.renderSampleRate}, LogNumber{syncLatency_});
}

void ORBMirrorDevice::begin() {
    tapQueue_->setRealTime();
    runnerQueue_->setRealTime();
    runner_->setDelegate(std::static_pointer_cast<lmn::LMNSessionRunnerDelegate>(shared_from_this()));
    deviceTap_->setDelegate(std::static_pointer_cast<lmn::LMNTapDelegate>(shared_from_this()));
    syncronizer_->setDelaysRateChangeUntilHasSufficientMediaData(true);
    syncronizer_->addRenderer(*renderer_);
    observeContextDevice();
    // Weakly: the renderer's queue may be about to run it while the device goes.
    install_ = std::make_unique<dispatch::Signal>(*rendererQueue_, [weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->installFeedingLoop();
    });
    recordFlight(FlightKind::mirrorRebuilt,
                 {.subject = config_.contextDevice->deviceUID(), .numbers = {syncLatency_}});
    setRunning(true);
    deviceTap_->start();
}

ORBMirrorDevice::~ORBMirrorDevice() {
    runnerQueue_->cancel();
    tapQueue_->cancel();
    cancellable_.clear();
    ORBDebugLog(0, "ORBMirrorDevice deinit");
    running_.store(false);
}

lmn::LMNTapConfig ORBMirrorDevice::makeTapConfig() const {
    using lmn::LMNAttributes;
    lmn::LMNSource source;
    source.deviceReference.attributes = LMNAttributes{
        {std::string(lmn::LMNDeviceUIDKey), config_.contextDevice->deviceUID()},
        {std::string(lmn::LMNDeviceInputKey), false},
        {std::string(lmn::LMNDeviceOnDemandKey), false},
    };
    source.mutingMode = lmn::LMNMutingModeNever;
    // Left out: what this process itself plays, and the framework's mixdown of everything.
    source.processReferences = {
        {LMNAttributes{{std::string(lmn::LMNProcessPIDKey), std::int32_t{::getpid()}}}},
        {LMNAttributes{{std::string(lmn::LMNDeviceUIDKey), std::string(lmn::LMNStereoMixdownDeviceUID)},
                       {std::string(lmn::LMNProcessHierarchalKey), false}}},
    };
    source.exclusive = true;
    source.channelMappings = {{.source = 1, .destination = 1}, {.source = 2, .destination = 2}};
    const double reported = ORBManager::reportedLatency(syncLatency_, context_.manager.renderChunkSize());
    return {.sources = {std::move(source)},
            .leadout = std::max(reported, leastLeadout),
            .channelCount = 2,
            .frameCount = cycleFrames(config_.chunkSize),
            .sampleRate = config_.renderSampleRate,
            .variety = lmn::LMNTapVarietySystem};
}

void ORBMirrorDevice::observeContextDevice() {
    cancellable_.push_back(config_.contextDevice->isMuted().observe([weak = weak_from_this()](bool) {
        if (const auto self = weak.lock())
            self->resetRendererState(Flush::yes, "contextDevice.isMuted changed");
    }));
    cancellable_.push_back(config_.contextDevice->activeProcesses().observe(
        [weak = weak_from_this()](const lmn::LMNProcessSet& processes) {
            recordFlight(FlightKind::players, {.numbers = {static_cast<double>(processes.size())}});
            if (const auto self = weak.lock())
                self->processesSettled_.touch();
        }));
}

void ORBMirrorDevice::activeProcessesSettled() {
    if (!config_.contextDevice->activeProcesses().get().empty())
        return;
    ORBDebugLog(0, "{} No active processes - flushing renderer", description_);
    resetRendererState(Flush::yes, "activeProcesses became empty");
}

ORBMirrorDevice::Devices ORBMirrorDevice::targetDevices() {
    Devices devices;
    tapQueue_->dispatchSyncImmed([&] {
        const PendingGuard guard(pendingSampleBuffersLock_);
        devices = targetDevices_;
    });
    return devices;
}

void ORBMirrorDevice::setTargetDevices(Devices devices) {
    makeSet(devices);
    tapQueue_->dispatchSyncImmed([&] {
        {
            const PendingGuard guard(pendingSampleBuffersLock_);
            targetDevices_.swap(devices);
        }
        resetRendererState(Flush::yes, "setting target devices");
    });
}

void ORBMirrorDevice::outputDevicesChanged() {
    tapQueue_->dispatchSyncImmed([&] {
        const auto outputs = config_.context->outputDevices();
        // Looked up here rather than in the cycle that compares them, which must not wait for the manager.
        Devices virtualDevices;
        for (const auto& output : outputs)
            virtualDevices.push_back(lmnDevice(*output));
        makeSet(virtualDevices);
        if (outputs.size() > connectedCount_.load()) {
            ORBDebugLog(1, "{} New device added - forcing resync", description_);
            needsResync_.store(true);
        }
        connectedBuffers_.store(0);
        {
            const PendingGuard guard(pendingSampleBuffersLock_);
            connectedVirtualDevices_.swap(virtualDevices);
        }
        connectedCount_.store(outputs.size());
        if (!outputs.empty())
            hasConnectedBefore_.store(true);
    });
}

void ORBMirrorDevice::setRunning(bool running) {
    if (running_.exchange(running) != running)
        recordFlight(FlightKind::running, {.numbers = {running ? 1.0 : 0.0}});
}

void ORBMirrorDevice::stop(std::string_view reason) {
    setRunning(false);
    deviceTap_->stop();
    runner_->stop();
    resetRendererState(Flush::yes, reason);
}

void ORBMirrorDevice::drain() {
    context_.lmn.ioQueue().sync([] {}); // no cycle begins any more
    runnerQueue_->dispatchSyncImmed([] {});
    rendererQueue_->sync([] {});
}

void ORBMirrorDevice::resetRendererState(Flush flush, std::string_view reason) {
    if (!reason.empty())
        ORBDebugLog(0, "{} resetRendererState(flush: {}, reason: {})", description_, flush == Flush::yes,
                    reason);
    recordFlight(FlightKind::reset, {.text = reason, .numbers = {flush == Flush::yes ? 1.0 : 0.0}});
    {
        const PendingGuard guard(pendingSampleBuffersLock_);
        accumulator_.reset();
        timeline_.reset(syncronizer_->currentTime());
        if (flush == Flush::yes) {
            syncronizer_->setRate(0);
            renderer_->flush();
        }
        pendingSampleBuffers_.empty();
    }
    renderer_->stopRequestingMediaData();
    isRequestingMediaData_.store(false);
}

std::shared_ptr<lmn::LMNTapIOContext> ORBMirrorDevice::createIOContext(lmn::LMNTap& tap,
                                                                       const lmn::LMNTapConfig& config) {
    return std::make_shared<ORBTapIOContext>(
        tap, config, tap.queue(),
        ORBTapIOContextParts{.session = runner_, .mixQueue = mixQueue_, .activity = context_.tapActivity});
}

void ORBMirrorDevice::sessionRunnerDidStart(lmn::LMNSessionRunner&, std::uint32_t, double) {
    if (connectedCount_.load() == 0)
        needsResync_.store(true);
    recordFlight(FlightKind::sessionBegan);
    ORBDebugLog(0, "{} runner started", description_);
}

void ORBMirrorDevice::sessionRunnerDidStop(lmn::LMNSessionRunner&) {
    mixQueue_->reset();
    resetRendererState(Flush::yes, "sessionRunnerDidStop");
    recordFlight(FlightKind::sessionEnded);
    ORBDebugLog(0, "{} runner stopped", description_);
}

} // namespace orb
