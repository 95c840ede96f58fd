// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/audio/ORBMirrorDevice.h"
#include "ORBRouteService/bridges/AVOutputContextBridge.h"
#include "ORBRouteService/log/ORBDebugLog.h"
#include "bench/orbsim/NumberedSound.h"
#include "bench/orbsim/ScriptedPlayer.h"
#include "platform/airplay/embedded/EmbeddedReceiver.h"
#include "platform/dispatch/virtual/VirtualRealm.h"
#include "platform/foundation/SharedInstance.h"
#include "platform/foundation/TemporaryDirectory.h"
#include "platform/lmn/LogCapture.h"
#include "platform/lmn/embedded/EmbeddedAudioServer.h"
#include "tests/ORBRouteService/audio/settings/SettingsProcess.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace orb {

using orbsim::Frame;
using orbsim::PlayerScript;
using orbsim::put;
using orbsim::ScriptedPlayer;
using orbsim::Sound;
using orbsim::Stretch;
using orbsim::stretchesOf;

inline constexpr double rate = 44100;            // Hz
inline constexpr std::int64_t cycleFrames = 512; // of the tap and the session runner
inline constexpr std::int64_t chunkFrames = 8192;
inline constexpr std::int64_t cyclesPerChunk = 16;
inline constexpr std::int64_t warmupFrames = ORBMirrorDevice::warmupCycles * cycleFrames;
inline constexpr double cycleSeconds = cycleFrames / rate;
inline constexpr double chunkSeconds = chunkFrames / rate;

/// A process id that is neither this process nor any player's parent.
inline constexpr std::int32_t foreignProcess = 0x40000001;

struct MirrorWorldOptions {
    double latency = 2.0; ///< s
    std::uint32_t chunkSize = ORBManager::fixedRenderChunkSize;
    bool prioritizeSync = false;
    coremedia::CMAllocator* allocator = nullptr;
};

/// A mirror device and everything around it as in the service, except that a test decides which receivers are
/// connected, what players play, when the user paused last, and how late the pacer wakes. Everything is
/// called from the main queue or, in virtual time, from outside of all queues.
class MirrorWorld {
  public:
    /// The last two are a group: one virtual device stands for both.
    static constexpr std::size_t receiverCount = 4;

    explicit MirrorWorld(dispatch::Realm& realm, MirrorWorldOptions options = {});
    ~MirrorWorld();
    MirrorWorld(const MirrorWorld&) = delete;
    MirrorWorld& operator=(const MirrorWorld&) = delete;

    ORBMirrorDevice& mirror() { return *mirror_; }
    std::shared_ptr<ORBMirrorDevice>& mirrorReference() { return mirror_; }
    lmn::LMNDevice& device() { return *device_; }
    ORBManager& manager() { return *settings_.manager; }
    lmn::LMNSystem& lmn() { return lmn_; }

    /// The virtual device that stands for a receiver.
    std::shared_ptr<lmn::LMNDevice> virtualDevice(std::size_t receiver);

    /// Exactly these receivers are connected from now on.
    void connect(const std::vector<std::size_t>& receivers);

    /// A player that begins to play its script now.
    void play(PlayerScript script, std::int32_t process = foreignProcess);

    void setLastPause(dispatch::HostTime time) { lastPause_ = time; }

    /// Called once, within the next IO cycle, and within the next feeding of a chunk.
    void setNextCycle(std::function<void()> action) { nextCycle_ = std::move(action); }
    void setNextFeeding(std::function<void()> action) { nextFeeding_ = std::move(action); }

    /// The wake-up of the pacer that is armed next comes late.
    void delayNextWake(double seconds) { nextWakeDelay_ = dispatch::toNanoseconds(seconds); }

    /// Captures nothing more besides the mirror device.
    void stopCapturing();

    /// How often the render state was to be examined anew.
    int reviews() const { return reviews_; }

    /// What was captured, by the frame of the receivers' time line at which it was due. Only in a connected
    /// world.
    Sound captured();
    std::int64_t capturedCycles() const;

    /// What a receiver heard; to be asked when time stands still.
    const Sound& heard(std::size_t receiver = 0) const { return heard_.at(receiver); }

    /// Every chunk that the renderer was given.
    const std::vector<avfoundation::EnqueuedBuffer>& enqueued() const { return enqueued_; }

    /// The service's log lines, without what is the same in all of them, from `from` on.
    std::vector<std::string> journal(std::size_t from = 0) const;
    std::size_t countLines(std::string_view part) const;
    lmn::LogCapture& log() { return log_; }

    /// Runs it on the main queue, of which the caller may be work.
    void onMain(dispatch::FunctionRef<void()> action);

  private:
    class Capture;

    void addReceivers();
    void makeMirror();
    static void runOnce(std::function<void()>& action);

    dispatch::Realm& realm_;
    const MirrorWorldOptions options_;
    lmn::LogCapture log_;
    const foundation::TemporaryDirectory directory_;
    SettingsProcess settings_;
    lmn::LMNDeviceManager deviceManager_;
    const foundation::SharedInstance<lmn::LMNDeviceManager> sharedDeviceManager_{deviceManager_};
    lmn::EmbeddedAudioServer audioServer_;
    lmn::LMNSystem lmn_;
    airplay::PlaybackSystem playback_;
    std::shared_ptr<avfoundation::AVOutputContext> context_;
    std::vector<std::shared_ptr<airplay::EmbeddedReceiver>> receivers_;
    std::vector<Sound> heard_{receiverCount};
    std::shared_ptr<lmn::LMNDevice> device_;
    std::shared_ptr<lmn::ServedDevice> served_;
    std::shared_ptr<TapIOActivity> tapActivity_;
    std::shared_ptr<ORBMirrorDevice> mirror_;
    std::string description_;
    std::shared_ptr<Capture> capture_;
    std::unique_ptr<lmn::LMNTap> captureTap_;
    std::vector<std::shared_ptr<ScriptedPlayer>> players_;
    std::vector<avfoundation::EnqueuedBuffer> enqueued_;
    std::vector<std::size_t> connected_;
    dispatch::HostTime lastPause_ = dispatch::distantPast;
    std::function<void()> nextCycle_;
    std::function<void()> nextFeeding_;
    dispatch::Nanoseconds nextWakeDelay_{};
    int reviews_ = 0;
};

/// IO of a mirror device, driven by hand: cycles of sound.
class HandDrivenIO {
  public:
    explicit HandDrivenIO(ORBMirrorDevice& mirror)
        : mirror_(mirror), context_(mirror.createIOContext(mirror.deviceTap(), mirror.deviceTap().config())) {
        std::fill_n(buffer_.samples(), 2 * cycleFrames, 0.5F);
    }

    void silence() { buffer_.mute(); }
    void capture() { context_->processIO(buffer_); }
    void render() { mirror_.performIOCycle(mirror_.runner(), 0); }
    void run(std::int64_t cycles) {
        for (; cycles > 0; --cycles) {
            capture();
            render();
        }
    }

    lmn::LMNTapIOContext& context() { return *context_; }

  private:
    ORBMirrorDevice& mirror_;
    const std::shared_ptr<lmn::LMNTapIOContext> context_;
    lmn::LMNBuffer buffer_{2, cycleFrames, rate};
};

/// A world in virtual time.
class VirtualMirrorWorld : private std::unique_ptr<dispatch::VirtualRealm>, public MirrorWorld {
  public:
    explicit VirtualMirrorWorld(MirrorWorldOptions options = {})
        : unique_ptr(std::make_unique<dispatch::VirtualRealm>()), MirrorWorld(*get(), std::move(options)) {}

    /// Ends what is under way, as the queues do not outlive the world.
    ~VirtualMirrorWorld();

    dispatch::VirtualRealm& realm() { return *get(); }

    void run(double seconds) { get()->advanceBy(dispatch::toNanoseconds(seconds)); }

    /// Runs until `count` further cycles have been captured.
    void runCycles(std::int64_t count);

    /// Runs until so many chunks were given to the renderer in all.
    void runUntilEnqueued(std::size_t chunks);

    dispatch::HostTime now() { return get()->clock().now(); }
};

} // namespace orb
