// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/ORBRouteService.h"

#include "platform/avkit/embedded/EmbeddedAirPlay.h"
#include "platform/foundation/SharedInstance.h"
#include "platform/lmn/embedded/EmbeddedAudioServer.h"
#include "platform/mediaplayer/embedded/NowPlayingStateFile.h"
#include "platform/mediaremote/embedded/NowPlayingFile.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace orb {

/// Where a service's system keeps its things, and who answers for its user.
struct EmbeddedServiceOptions {
    std::filesystem::path runtimeDirectory;
    std::filesystem::path configDirectory;
    std::filesystem::path receiversFile;
    airplay::PromptedUser* user = nullptr;  // nullptr: the one of the receivers file
    airplay::FrameObservers observers = {}; // of the receivers; may be empty
};

/// The system that one service process runs on, where everything behind the platform's faces is embedded: in
/// real time the service's own, in virtual time a test's. Made and destroyed on the main queue of its realm,
/// which outlives it; the service on it goes first.
class EmbeddedServiceSystem {
  public:
    /// Throws what opening directories and files throws.
    EmbeddedServiceSystem(dispatch::Realm& realm, EmbeddedServiceOptions options);

    /// For a service: `arguments` are those of its process, `exit` ends it.
    ORBRouteServicePlatform platform(std::vector<std::string> arguments, std::function<void(int)> exit);

    /// Publishes what is now playing beside the device that the service mirrors.
    void publishNowPlaying(const lmn::LMNDevice& device);

    /// Completes and removes what would be left behind by a process that ends at once: receivers' files are
    /// whole, and no socket of this process remains.
    void finish();

    airplay::PlaybackSystem& playback() { return playback_; }
    avkit::EmbeddedAirPlay& airPlay() { return airPlay_; }
    lmn::LMNSystem& lmn() { return lmn_; }
    lmn::EmbeddedAudioServer& audioServer() { return audioServer_; }
    lmn::LMNDeviceManager& deviceManager() { return deviceManager_; }
    ORBManager& manager() { return manager_; }
    ORBNowPlaying& nowPlaying() { return *nowPlaying_; }
    dispatch::TaskPool& taskPool() { return taskPool_; }
    foundation::NotificationCenter& notifications() { return notifications_; }
    const foundation::RuntimeDirectory& runtimeDirectory() const { return runtimeDirectory_; }
    const mediaplayer::MPRemoteCommandCenter& remoteCommands() const { return remoteCommands_; }

  private:
    dispatch::Realm& realm_;
    const foundation::RuntimeDirectory runtimeDirectory_;
    dispatch::TaskPool taskPool_;
    foundation::NotificationCenter notifications_;
    foundation::DistributedNotificationCenter distributedNotifications_;
    const std::unique_ptr<ORBUserDefaults> defaults_;
    ORBManager manager_;
    const foundation::SharedInstance<ORBManager> sharedManager_{manager_};
    lmn::LMNDeviceManager deviceManager_;
    const foundation::SharedInstance<lmn::LMNDeviceManager> sharedDeviceManager_{deviceManager_};
    lmn::LMNAudioPolicies audioPolicies_;
    lmn::EmbeddedAudioServer audioServer_;
    lmn::LMNSystem lmn_;
    airplay::PlaybackSystem playback_;
    avkit::EmbeddedAirPlay airPlay_;
    ORBSystemClasses systemClasses_{airPlay_.classes()};
    mediaremote::NowPlayingFile mediaRemote_;
    mediaplayer::MPNowPlayingInfoCenter infoCenter_;
    mediaplayer::MPRemoteCommandCenter remoteCommands_;
    const std::shared_ptr<ORBNowPlaying> nowPlaying_;
    const foundation::SharedInstance<ORBNowPlaying> sharedNowPlaying_{*nowPlaying_};
    const girder::GDDebugCenter debugCenter_;
    std::optional<mediaplayer::NowPlayingStateFile> nowPlayingStateFile_; // once there is a device
};

} // namespace orb
