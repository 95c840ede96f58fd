// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/audio/MirrorWorld.h"

#include "ORBRouteService/devices/AVOutputDeviceAccessors.h"

#include <fmt/format.h>

#include <unistd.h>

#include <algorithm>
#include <utility>

namespace orb {
namespace {

void report(const std::string& line) { lmn::LMNLog(4, line + "\n"); }

} // namespace

/// A second tap of the same kind, which keeps what it captures.
class MirrorWorld::Capture final : public lmn::LMNTapDelegate {
  public:
    struct Cycle {
        dispatch::HostTime due;
        std::vector<float> samples;
    };

    explicit Capture(const dispatch::Clock& theClock) : clock(theClock) {}

    std::shared_ptr<lmn::LMNTapIOContext> createIOContext(lmn::LMNTap& tap,
                                                          const lmn::LMNTapConfig& config) override {
        return std::make_shared<lmn::LMNTapIOContext>(
            tap, config, tap.queue(), [this](lmn::LMNBuffer& buffer) {
                const std::size_t samples = std::size_t{buffer.frameCount()} * buffer.channelCount();
                cycles.push_back({clock.cycleTime(), {buffer.samples(), buffer.samples() + samples}});
            });
    }

    const dispatch::Clock& clock;
    std::vector<Cycle> cycles;
};

MirrorWorld::MirrorWorld(dispatch::Realm& realm, MirrorWorldOptions options)
    : realm_(realm),
      options_(std::move(options)),
      settings_(realm, directory_.path(), report),
      deviceManager_(foundation::RuntimeDirectory(directory_.path()), realm.mainQueue()),
      audioServer_(realm),
      lmn_(realm, deviceManager_, audioServer_),
      playback_(realm, report),
      context_(std::make_shared<avfoundation::AVOutputContext>(playback_, settings_.center)) {
    onMain([this] {
        settings_.makeManager();
        manager().setRenderLatency(options_.latency);
        manager().setPrioritizeSync(options_.prioritizeSync);
        lmn_.setWakeDelays([this] { return std::exchange(nextWakeDelay_, dispatch::Nanoseconds{}); });
        addReceivers();
        makeMirror();
    });
}

MirrorWorld::~MirrorWorld() {
    onMain([this] {
        captureTap_.reset();
        mirror_.reset();
        playback_.finish();
        context_.reset();
        settings_.manager.reset();
    });
    audioServer_.queue().sync([this] { players_.clear(); });
}

void MirrorWorld::onMain(dispatch::FunctionRef<void()> action) {
    if (realm_.mainQueue().isCurrent())
        action();
    else
        realm_.mainQueue().sync(action);
}

void MirrorWorld::addReceivers() {
    for (std::size_t index = 0; index < receiverCount; ++index) {
        airplay::ReceiverEntry entry;
        entry.description.name = fmt::format("receiver{}", index);
        entry.description.identifier = fmt::format("A1:B2:C3:D4:E5:{:02X}", index);
        if (index + 2 >= receiverCount)
            entry.description.txt = {{"gid", "G"}, {"tsid", "T"}};
        receivers_.push_back(std::make_shared<airplay::EmbeddedReceiver>(
            std::move(entry),
            airplay::EmbeddedReceiver::Surroundings{
                .mainQueue = realm_.mainQueue(),
                .report = report,
                .observer = [this, index](std::span<const float> frames, airplay::FrameIndex first) {
                    put(heard_[index], first, frames);
                }}));
    }
    context_->setApplicationProcessID(::getpid());
}

void MirrorWorld::makeMirror() {
    device_ = deviceManager_.deviceFromArchive(
        deviceManager_.archiveFromConfig({.name = "mirrored", .deviceUID = "mirrored"}, false));
    served_ = audioServer_.serve(device_);
    tapActivity_ = std::make_shared<TapIOActivity>(realm_.mainQueue());
    mirror_ = ORBMirrorDevice::create({.lmn = lmn_,
                                       .playback = playback_,
                                       .notifications = settings_.center,
                                       .manager = manager(),
                                       .tapActivity = tapActivity_,
                                       .lastPause =
                                           [this] {
                                               runOnce(nextCycle_);
                                               return lastPause_;
                                           },
                                       .reexamineRenderState = [this] { ++reviews_; },
                                       .enqueueObserver =
                                           [this](const avfoundation::EnqueuedBuffer& buffer) {
                                               enqueued_.push_back(buffer);
                                               runOnce(nextFeeding_);
                                           },
                                       .allocator = options_.allocator},
                                      {.contextDevice = device_,
                                       .context = std::make_shared<AVOutputContextBridge>(context_),
                                       .chunkSize = options_.chunkSize,
                                       .renderSampleRate = rate,
                                       .syncLatency = options_.latency});
    description_ = mirror_->description();
    capture_ = std::make_shared<Capture>(realm_.clock());
    captureTap_ =
        std::make_unique<lmn::LMNTap>(lmn_, mirror_->deviceTap().config(), mirror_->deviceTap().queue());
    captureTap_->setDelegate(capture_);
    captureTap_->start();
}

void MirrorWorld::runOnce(std::function<void()>& action) {
    if (const auto once = std::exchange(action, nullptr))
        once();
}

void MirrorWorld::stopCapturing() {
    onMain([this] { captureTap_.reset(); });
}

std::shared_ptr<lmn::LMNDevice> MirrorWorld::virtualDevice(std::size_t receiver) {
    const auto output = std::make_shared<avfoundation::AVOutputDevice>(receivers_.at(receiver));
    return lmnDevice(AVOutputDeviceBridge(output));
}

void MirrorWorld::connect(const std::vector<std::size_t>& receivers) {
    onMain([&] {
        for (const std::size_t old : connected_)
            if (std::ranges::find(receivers, old) == receivers.end())
                context_->route().disconnect(receivers_[old]);
        for (const std::size_t index : receivers)
            context_->route().connect(receivers_[index]);
        connected_ = receivers;
        mirror_->outputDevicesChanged();
    });
}

void MirrorWorld::play(PlayerScript script, std::int32_t process) {
    auto& roster = static_cast<lmn::PlayerRoster&>(*served_);
    players_.push_back(std::make_shared<ScriptedPlayer>(roster, audioServer_.queue(), script));
    audioServer_.queue().sync([&] { players_.back()->join(process); });
}

Sound MirrorWorld::captured() {
    std::optional<dispatch::HostTime> epoch;
    onMain([&] { epoch = context_->route().epoch(); });
    const airplay::FrameGrid grid(epoch.value());
    Sound sound;
    for (const Capture::Cycle& cycle : capture_->cycles)
        if (cycle.due >= *epoch)
            put(sound, grid.nearest(airplay::ticksOf(cycle.due)), cycle.samples);
    return sound;
}

std::int64_t MirrorWorld::capturedCycles() const {
    return static_cast<std::int64_t>(capture_->cycles.size());
}

std::vector<std::string> MirrorWorld::journal(std::size_t from) const {
    std::vector<std::string> lines;
    for (const auto& line : log_.lines()) {
        std::string text = line.text.substr(0, line.text.find_last_not_of('\n') + 1);
        for (const std::string& known : {std::string("[Orbweaver] "), description_ + " "})
            if (text.starts_with(known))
                text.erase(0, known.size());
        lines.push_back(std::move(text));
    }
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(std::min(from, lines.size())));
    return lines;
}

std::size_t MirrorWorld::countLines(std::string_view part) const {
    const auto lines = log_.lines();
    return static_cast<std::size_t>(std::ranges::count_if(
        lines, [&](const auto& line) { return line.text.find(part) != std::string::npos; }));
}

VirtualMirrorWorld::~VirtualMirrorWorld() {
    stopCapturing();
    onMain([this] { mirrorReference().reset(); });
    realm().settle();
}

void VirtualMirrorWorld::runCycles(std::int64_t count) {
    const std::int64_t target = capturedCycles() + count;
    realm().advanceUntil([&] { return capturedCycles() >= target; }, std::chrono::hours(1));
}

void VirtualMirrorWorld::runUntilEnqueued(std::size_t chunks) {
    realm().advanceUntil([&] { return enqueued().size() >= chunks; }, std::chrono::hours(1));
}

} // namespace orb
