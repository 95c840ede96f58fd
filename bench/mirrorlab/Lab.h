// SPDX-License-Identifier: MIT
#pragma once

#include "bench/mirrorlab/LabLog.h"
#include "bench/mirrorlab/LabOptions.h"
#include "bench/mirrorlab/LiveAnalysis.h"
#include "bench/mirrorlab/PlayerProcess.h"

#include "ORBRouteService/audio/ORBMirrorDevice.h"
#include "ORBRouteService/bridges/AVOutputContextBridge.h"

#include "platform/airplay/PlaybackSystem.h"
#include "platform/airplay/embedded/EmbeddedReceiver.h"
#include "platform/dispatch/Realm.h"
#include "platform/foundation/SharedInstance.h"
#include "platform/lmn/embedded/EmbeddedAudioServer.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace mirrorlab {

/// A directory of its own below the system's temporary one, removed with all it holds.
class TemporaryDirectory {
  public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

/// One mirror device on the embedded platform, with a virtual device that a player process plays into and a
/// context of receivers that play what is mirrored. Made and used on the main queue of its realm.
class Lab {
  public:
    /// `finished` is called on the main queue when all has been heard, or the player has failed.
    Lab(dispatch::Realm& realm, LabLog& log, const LabOptions& options,
        std::vector<airplay::ReceiverEntry> receivers, std::function<void()> finished);
    ~Lab();

    /// Connects the receivers and starts the player.
    void start();

    /// What came of it. Ends the sound.
    Report conclude(double elapsedSeconds);

    /// Seconds of sound captured so far.
    double progress() const;
    std::int64_t lateCycles();

    /// The player's exit status; nothing while it runs.
    std::optional<int> playerStatus() const { return playerStatus_; }

    /// In virtual time: a digest of everything the first receiver played.
    std::optional<std::uint64_t> digest() const;

  private:
    class FirstSound;

    foundation::UserDefaultsContext defaultsContext();
    void applySettings();
    void addReceivers(std::vector<airplay::ReceiverEntry> receivers);
    void connectReceiver(std::size_t index);
    void makeMirrorDevice();
    void measureFirstSound();
    void startPlayer();
    void playerEnded(int status);
    void endWhenHeard();
    void noteLatency(const avfoundation::EnqueuedBuffer& buffer);
    std::vector<orbctl::ReceiverResult> receiverResults();
    void describeReceivers(Report& report, std::vector<orbctl::ReceiverResult> results);

    dispatch::Realm& realm_;
    LabLog& log_;
    const LabOptions& options_;
    const std::function<void()> finished_;
    const TemporaryDirectory directory_;
    const foundation::RuntimeDirectory runtime_;
    foundation::NotificationCenter notifications_;
    foundation::DistributedNotificationCenter distributedNotifications_;
    const std::unique_ptr<orb::ORBUserDefaults> defaults_;
    std::unique_ptr<orb::ORBManager> manager_;
    lmn::LMNDeviceManager deviceManager_;
    const foundation::SharedInstance<lmn::LMNDeviceManager> sharedDeviceManager_{deviceManager_};
    lmn::EmbeddedAudioServer audioServer_;
    lmn::LMNSystem lmn_;
    airplay::PlaybackSystem playback_;
    const std::shared_ptr<avfoundation::AVOutputContext> context_;
    std::vector<std::shared_ptr<airplay::EmbeddedReceiver>> receivers_;
    std::vector<std::shared_ptr<dispatch::DelayedWork>> connecting_;
    std::unique_ptr<LiveAnalysis> live_; // of the playout queue
    std::shared_ptr<lmn::LMNDevice> device_;
    std::shared_ptr<orb::ORBMirrorDevice> mirror_;
    std::shared_ptr<lmn::LMNDispatchQueue> measureQueue_;
    std::shared_ptr<FirstSound> firstSound_;
    std::unique_ptr<lmn::LMNTap> measureTap_;
    std::vector<foundation::Subscription> subscriptions_;
    std::unique_ptr<PlayerProcess> player_;
    std::shared_ptr<void> debt_;
    std::optional<int> playerStatus_;
    dispatch::Lock latencyLock_;
    orbctl::LatencySeries latency_ ORB_GUARDED_BY(latencyLock_);
    dispatch::HostTime start_;
};

} // namespace mirrorlab
