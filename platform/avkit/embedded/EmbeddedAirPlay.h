// SPDX-License-Identifier: MIT
#pragma once

#include "platform/accessibility/embedded/EmbeddedAccessibility.h"
#include "platform/airplay/embedded/EmbeddedReceivers.h"
#include "platform/airplay/embedded/ScriptedUser.h"
#include "platform/appkit/NSApplication.h"
#include "platform/appkit/NSWorkspace.h"
#include "platform/avfoundation/AVOutputContextClass.h"
#include "platform/avkit/AVRoutePickerRemoteViewControllerClass.h"
#include "platform/avkit/AirPlayUIAgent.h"
#include "platform/foundation/ClassRegistry.h"

#include <filesystem>
#include <optional>

namespace avkit {

/// What the routing of a process stands on; all outlive it.
struct EmbeddedAirPlayParts {
    dispatch::Realm& realm;
    airplay::PlaybackSystem& playback;
    foundation::NotificationCenter& notifications;
    lmn::LMNDeviceManager& deviceManager;
    std::filesystem::path receiversFile;
    airplay::FrameObservers observers = {}; // of the receivers; may be empty
    airplay::PromptedUser* user = nullptr;  // nullptr: the one of the receivers file
    std::optional<dispatch::Nanoseconds> pickerArrival = std::chrono::milliseconds(50); // nullopt: never
};

/// Everything about AirPlay that a machine without any has: the receivers of a receivers file and their user,
/// the output contexts, the route picker and the agent that shows alerts, found by the system's names for
/// their classes. One per process, made by the composition root; main queue.
class EmbeddedAirPlay {
  public:
    /// Throws airplay::ReceiversFileError when the directory of the receivers file cannot be watched.
    explicit EmbeddedAirPlay(EmbeddedAirPlayParts parts);

    accessibility::EmbeddedAccessibility& accessibility() { return accessibility_; }
    appkit::NSApplication& application() { return application_; }
    const appkit::NSWorkspace& workspace() const { return workspace_; }
    const foundation::ClassRegistry& classes() const { return classes_; }
    airplay::EmbeddedReceivers& receivers() { return receivers_; }
    AirPlayUIAgent& agent() { return agent_; }

  private:
    accessibility::EmbeddedAccessibility accessibility_;
    appkit::NSWorkspace workspace_;
    appkit::NSApplication application_;
    airplay::EmbeddedReceivers receivers_;
    airplay::ScriptedUser scriptedUser_;
    AirPlayUIAgent agent_;
    avfoundation::AVOutputDeviceClass outputDeviceClass_;
    avfoundation::AVOutputContextClass outputContextClass_;
    AVRoutePickerRemoteViewControllerClass routePickerClass_;
    foundation::ClassRegistry classes_;
};

} // namespace avkit
