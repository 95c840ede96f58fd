// SPDX-License-Identifier: MIT
#include "bench/mirrorlab/Lab.h"

#include "bench/mirrorlab/PlayCommand.h"
#include "orbctl/sound/SourceSound.h"

#include "ORBRouteService/log/ORBDebugLog.h"

#include "platform/lmn/embedded/PlayerProtocol.h"

#include <fmt/format.h>

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <random>
#include <system_error>
#include <utility>

namespace mirrorlab {
namespace {

constexpr const char* deviceUID = "com.fernwick.Orbweaver::mirrorlab";

/// Share of wake-ups that are late when delays are injected.
constexpr double lateShare = 0.02;

/// Silence that the player sends behind the sound, beyond the latency, s; and the silence in which everything
/// ends, s.
constexpr double tailMargin = 0.7;

void report(const std::string& line) { lmn::LMNLog(4, line + "\n"); }

std::function<dispatch::Nanoseconds()> wakeDelays(double worstSeconds, std::uint64_t seed) {
    return [worstSeconds, random = std::mt19937_64(seed)]() mutable {
        std::uniform_real_distribution<double> even(0.0, 1.0);
        return even(random) < lateShare ? dispatch::toNanoseconds(worstSeconds * even(random))
                                        : dispatch::Nanoseconds{0};
    };
}

} // namespace

TemporaryDirectory::TemporaryDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "mirrorlab-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr)
        throw std::system_error(errno, std::generic_category(), pattern);
    path_ = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

/// Notes when the first captured buffer was due.
class Lab::FirstSound final : public lmn::LMNTapDelegate {
  public:
    explicit FirstSound(const dispatch::Clock& clock) : clock_(clock) {}

    std::shared_ptr<lmn::LMNTapIOContext> createIOContext(lmn::LMNTap& tap,
                                                          const lmn::LMNTapConfig& config) override {
        return std::make_shared<lmn::LMNTapIOContext>(tap, config, tap.queue(),
                                                      [this](lmn::LMNBuffer& buffer) {
                                                          if (frames_.fetch_add(buffer.frameCount()) == 0)
                                                              time_.store(clock_.cycleTime());
                                                      });
    }

    dispatch::HostTime time() const { return time_.load(); }
    std::int64_t frames() const { return frames_.load(); }

  private:
    const dispatch::Clock& clock_;
    std::atomic<dispatch::HostTime> time_{}; // by the IO queue, read by the main queue
    std::atomic<std::int64_t> frames_{0};    // likewise
};

Lab::Lab(dispatch::Realm& realm, LabLog& log, const LabOptions& options,
         std::vector<airplay::ReceiverEntry> receivers, std::function<void()> finished)
    : realm_(realm),
      log_(log),
      options_(options),
      finished_(std::move(finished)),
      runtime_(directory_.path() / "run"),
      distributedNotifications_(realm.mainQueue(), runtime_, report),
      defaults_(orb::ORBUserDefaults::create(defaultsContext())),
      deviceManager_(runtime_, realm.mainQueue()),
      audioServer_(realm),
      lmn_(realm, deviceManager_, audioServer_),
      playback_(realm, report),
      context_(std::make_shared<avfoundation::AVOutputContext>(playback_, notifications_)),
      start_(realm.clock().now()) {
    manager_ = std::make_unique<orb::ORBManager>(
        orb::ORBManagerContext{.mainQueue = realm.mainQueue(),
                               .notifications = notifications_,
                               .distributedNotifications = distributedNotifications_,
                               .defaults = *defaults_});
    applySettings();
    addReceivers(std::move(receivers));
    makeMirrorDevice();
    measureFirstSound();
}

Lab::~Lab() {
    playback_.finish(); // the receivers' observers write to what goes first
    subscriptions_.clear();
    player_.reset();
    measureTap_.reset();
    mirror_->stop("the bench ends");
    mirror_->drain();
    mirror_.reset();
}

foundation::UserDefaultsContext Lab::defaultsContext() {
    return {.queue = realm_.mainQueue(),
            .notificationCenter = notifications_,
            .configDirectory = directory_.path() / "config",
            .report = report};
}

void Lab::applySettings() {
    if (options_.latencySeconds)
        manager_->setRenderLatency(*options_.latencySeconds);
    manager_->setPrioritizeSync(options_.prioritizeSync);
    if (options_.worstWakeDelaySeconds > 0)
        lmn_.setWakeDelays(wakeDelays(options_.worstWakeDelaySeconds, options_.seed));
}

void Lab::addReceivers(std::vector<airplay::ReceiverEntry> receivers) {
    if (!options_.keepRecordings)
        live_ = std::make_unique<LiveAnalysis>(
            orbctl::SourceSound::open(
                sourceOptions(options_.soundFiles, options_.atLeastSeconds, options_.durationSeconds)),
            receivers.size());
    for (std::size_t index = 0; index < receivers.size(); ++index) {
        airplay::FrameObserver observer;
        if (live_) {
            receivers[index].file.reset();
            observer = [this, index](std::span<const float> frames, airplay::FrameIndex first) {
                live_->play(index, frames, first);
            };
        }
        receivers_.push_back(std::make_shared<airplay::EmbeddedReceiver>(
            std::move(receivers[index]),
            airplay::EmbeddedReceiver::Surroundings{
                .mainQueue = realm_.mainQueue(), .report = report, .observer = observer}));
    }
}

void Lab::makeMirrorDevice() {
    const lmn::LMNVirtualDeviceConfig config{.name = "mirrorlab", .deviceUID = deviceUID};
    device_ = deviceManager_.deviceFromArchive(deviceManager_.archiveFromConfig(config, false));
    context_->setApplicationProcessID(::getpid());
    mirror_ = orb::ORBMirrorDevice::create(
        {.lmn = lmn_,
         .playback = playback_,
         .notifications = notifications_,
         .manager = *manager_,
         .tapActivity = std::make_shared<orb::TapIOActivity>(realm_.mainQueue()),
         .lastPause = [] { return dispatch::distantPast; },
         .reexamineRenderState = [] {},
         .enqueueObserver = [this](const avfoundation::EnqueuedBuffer& buffer) { noteLatency(buffer); }},
        {.contextDevice = device_,
         .context = std::make_shared<orb::AVOutputContextBridge>(context_),
         .syncLatency = manager_->renderLatency()});
    subscriptions_.push_back(notifications_.observe(
        avfoundation::AVOutputContextOutputDevicesDidChangeNotification, context_.get(), &realm_.mainQueue(),
        [this](const foundation::Notification&) { mirror_->outputDevicesChanged(); }));
}

void Lab::measureFirstSound() {
    firstSound_ = std::make_shared<FirstSound>(realm_.clock());
    measureQueue_ = std::make_shared<lmn::LMNDispatchQueue>(realm_, "measure");
    measureTap_ = std::make_unique<lmn::LMNTap>(lmn_, mirror_->deviceTap().config(), measureQueue_);
    measureTap_->setDelegate(firstSound_);
    measureTap_->start();
}

void Lab::start() {
    for (std::size_t index = 0; index < receivers_.size(); ++index)
        connecting_.push_back(realm_.mainQueue().asyncAfter(
            receivers_[index]->entry()->behaviour.connectDelay, [this, index] { connectReceiver(index); }));
}

void Lab::connectReceiver(std::size_t index) {
    context_->route().connect(receivers_[index]);
    if (context_->route().receivers().size() == receivers_.size())
        startPlayer();
}

void Lab::startPlayer() {
    const double latency =
        std::clamp(manager_->renderLatency(), 0.0, orb::ORBMirrorDevice::longestSyncLatency);
    PlayOptions play{.soundFiles = options_.soundFiles,
                     .atLeastSeconds = options_.atLeastSeconds,
                     .durationSeconds = options_.durationSeconds,
                     .socket = device_->directory().path() / lmn::playerSocketName,
                     .tailSeconds = latency + tailMargin};
    debt_ = realm_.awaitOutside("the player to begin", [this] {
        return playerStatus_.has_value() || !device_->activeProcesses().get().empty();
    });
    subscriptions_.push_back(device_->activeProcesses().observe([this](const lmn::LMNProcessSet& processes) {
        realm_.mainQueue().async([this, none = processes.empty()] {
            debt_.reset();
            if (none)
                endWhenHeard();
        });
    }));
    player_ = std::make_unique<PlayerProcess>(realm_.mainQueue(), play,
                                              [this](int status) { playerEnded(status); });
}

void Lab::playerEnded(int status) {
    playerStatus_ = status;
    debt_.reset();
    if (status != 0)
        finished_();
}

void Lab::endWhenHeard() {
    connecting_.push_back(
        realm_.mainQueue().asyncAfter(dispatch::toNanoseconds(tailMargin), [this] { finished_(); }));
}

void Lab::noteLatency(const avfoundation::EnqueuedBuffer& buffer) {
    if (!buffer.heardAt)
        return;
    const double chunk = static_cast<double>(buffer.frames) / orbctl::framesPerSecond;
    const double effective = chunk + dispatch::toSeconds(*buffer.heardAt - buffer.enqueuedAt);
    const dispatch::LockGuard guard(latencyLock_);
    latency_.add(dispatch::toSeconds(buffer.enqueuedAt - start_), effective);
}

Report Lab::conclude(double elapsedSeconds) {
    playback_.finish();
    Report report;
    report.parameters = {.soundFiles = {},
                         .notices = {},
                         .durationSeconds = 0,
                         .mode = options_.mode,
                         .latencySeconds = manager_->renderLatency()};
    for (const auto& file : options_.soundFiles) {
        report.parameters.soundFiles.push_back(file);
        std::ranges::copy(orbctl::SoundFile(file).notices(), std::back_inserter(report.parameters.notices));
    }
    describeReceivers(report, receiverResults());
    const lmn::PacerFigures figures = lmn_.pacerFigures();
    report.lateCycles = static_cast<std::int64_t>(figures.late);
    report.worstLatenessSeconds = dispatch::toSeconds(figures.worstLateness);
    report.playerUnderruns = static_cast<std::int64_t>(audioServer_.underruns());
    report.resynchronisations = log_.resynchronisations(context_->route().epoch().value_or(start_));
    report.parameters.durationSeconds = progress();
    report.speedFactor = elapsedSeconds > 0 ? progress() / elapsedSeconds : 0;
    const dispatch::LockGuard guard(latencyLock_);
    report.effectiveLatency = latency_;
    return report;
}

std::vector<orbctl::ReceiverResult> Lab::receiverResults() {
    if (live_)
        return live_->finish();
    const auto source = [this]() -> std::unique_ptr<orbctl::FrameReader> {
        return orbctl::SourceSound::open(
            sourceOptions(options_.soundFiles, options_.atLeastSeconds, options_.durationSeconds));
    };
    std::vector<orbctl::OpenReader> recordings;
    recordings.reserve(receivers_.size());
    for (const auto& receiver : receivers_)
        recordings.emplace_back(
            [file = receiver->entry()->file.value_or("")]() -> std::unique_ptr<orbctl::FrameReader> {
                return std::make_unique<orbctl::RecordingFile>(file);
            });
    return orbctl::analyseReceivers(source, recordings, {}, orbctl::RecordingEnd::withSource);
}

void Lab::describeReceivers(Report& report, std::vector<orbctl::ReceiverResult> results) {
    const avfoundation::PlayoutCounters counters = mirror_->renderer().counters().timeline;
    const dispatch::HostTime epoch = context_->route().epoch().value_or(start_);
    const double sourceStart = dispatch::toSeconds(firstSound_->time() - epoch);
    for (std::size_t index = 0; index < results.size(); ++index) {
        const auto entry = receivers_[index]->entry();
        report.receivers.push_back({.name = entry->description.name,
                                    .file = entry->file.value_or("").string(),
                                    .result = std::move(results[index]),
                                    .heardLatencies = {},
                                    .gaps = static_cast<std::int64_t>(counters.gaps),
                                    .overlaps = static_cast<std::int64_t>(counters.overlaps),
                                    .lateBuffers = static_cast<std::int64_t>(counters.late)});
        orbctl::ReceiverReport& last = report.receivers.back();
        last.heardLatencies = orbctl::heardLatencies(last.result.stream, sourceStart);
    }
}

double Lab::progress() const { return static_cast<double>(firstSound_->frames()) / orbctl::framesPerSecond; }

std::int64_t Lab::lateCycles() { return static_cast<std::int64_t>(lmn_.pacerFigures().late); }

std::optional<std::uint64_t> Lab::digest() const {
    return live_ ? std::optional(live_->digest()) : std::nullopt;
}

} // namespace mirrorlab
