// SPDX-License-Identifier: MIT
#include "ORBRouteService/embedded/EmbeddedServiceSystem.h"

#include "platform/lmn/LMNLog.h"

#include <cstdlib>
#include <utility>

namespace orb {
namespace {

void report(const std::string& line) { lmn::LMNLog(4, line + "\n"); }

/// What a developer has switched on: `GIRDER_DEBUG` names one process.
std::vector<girder::GDDebugger> debuggers() {
    const char* name = std::getenv("GIRDER_DEBUG");
    return name != nullptr ? std::vector{girder::GDDebugger{name, true}} : std::vector<girder::GDDebugger>{};
}

} // namespace

EmbeddedServiceSystem::EmbeddedServiceSystem(dispatch::Realm& realm, EmbeddedServiceOptions options)
    : realm_(realm),
      runtimeDirectory_(std::move(options.runtimeDirectory)),
      taskPool_(realm),
      distributedNotifications_(realm.mainQueue(), runtimeDirectory_, report),
      defaults_(ORBUserDefaults::create({.queue = realm.mainQueue(),
                                         .notificationCenter = notifications_,
                                         .configDirectory = std::move(options.configDirectory),
                                         .report = report})),
      manager_({.mainQueue = realm.mainQueue(),
                .notifications = notifications_,
                .distributedNotifications = distributedNotifications_,
                .defaults = *defaults_}),
      deviceManager_(runtimeDirectory_, realm.mainQueue()),
      audioServer_(realm),
      lmn_(realm, deviceManager_, audioServer_),
      playback_(realm, report),
      airPlay_({.realm = realm,
                .playback = playback_,
                .notifications = notifications_,
                .deviceManager = deviceManager_,
                .receiversFile = std::move(options.receiversFile),
                .observers = std::move(options.observers),
                .user = options.user}),
      mediaRemote_(realm.mainQueue(), runtimeDirectory_, report),
      nowPlaying_(ORBNowPlaying::create({realm.mainQueue(), mediaRemote_, infoCenter_})),
      debugCenter_(debuggers()) {}

ORBRouteServicePlatform EmbeddedServiceSystem::platform(std::vector<std::string> arguments,
                                                        std::function<void(int)> exit) {
    return {.realm = realm_,
            .taskPool = taskPool_,
            .notifications = notifications_,
            .runtimeDirectory = runtimeDirectory_,
            .lmn = lmn_,
            .audioPolicies = audioPolicies_,
            .playback = playback_,
            .application = airPlay_.application(),
            .workspace = airPlay_.workspace(),
            .accessibility = airPlay_.accessibility(),
            .remoteCommands = remoteCommands_,
            .debugCenter = debugCenter_,
            .systemClasses = systemClasses_,
            .manager = manager_,
            .nowPlaying = *nowPlaying_,
            .arguments = std::move(arguments),
            .exit = std::move(exit)};
}

void EmbeddedServiceSystem::finish() {
    playback_.finish();
    lmn_.ioQueue().sync([] {});       // lets go of a device that is captured no more,
    audioServer_.queue().sync([] {}); // whose socket is then removed
    distributedNotifications_.leave();
}

void EmbeddedServiceSystem::publishNowPlaying(const lmn::LMNDevice& device) {
    nowPlayingStateFile_.emplace(infoCenter_, realm_.mainQueue(),
                                 device.directory().path() / "now-playing.json", report);
}

} // namespace orb
