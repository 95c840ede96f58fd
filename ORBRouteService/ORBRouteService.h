// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/ORBMessagePort.h"
#include "ORBRouteService/ORBRouteServiceLaunchConfig.h"
#include "ORBRouteService/audio/ORBMirrorDevice.h"
#include "ORBRouteService/bridges/ORBSystemClasses.h"
#include "ORBRouteService/ipc/ORBAppToServiceMessage.h"
#include "ORBRouteService/ipc/ORBServiceToAppMessage.h"
#include "ORBRouteService/ipc/ORBUpdateDevicesReply.h"
#include "ORBRouteService/nowplaying/ORBNowPlaying.h"
#include "ORBRouteService/picker/ORBPickerWindow.h"

#include "platform/dispatch/SignalSource.h"
#include "platform/dispatch/TaskGroup.h"
#include "platform/girder/GDDebugCenter.h"
#include "platform/lmn/LMNAudioPolicies.h"
#include "platform/mediaplayer/MPRemoteCommandCenter.h"

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace orb {

/// The system as the service finds it; all outlive it.
struct ORBRouteServicePlatform {
    dispatch::Realm& realm;
    dispatch::TaskPool& taskPool;
    foundation::NotificationCenter& notifications;
    const foundation::RuntimeDirectory& runtimeDirectory;
    lmn::LMNSystem& lmn;
    lmn::LMNAudioPolicies& audioPolicies;
    airplay::PlaybackSystem& playback;
    appkit::NSApplication& application;
    const appkit::NSWorkspace& workspace;
    accessibility::Accessibility& accessibility;
    mediaplayer::MPRemoteCommandCenter& remoteCommands;
    const girder::GDDebugCenter& debugCenter;
    ORBSystemClasses& systemClasses;
    ORBManager& manager;
    ORBNowPlaying& nowPlaying;
    std::vector<std::string> arguments;   // of the process, its own path first
    std::function<void(int status)> exit; // ends the process; tests may come back
};

/// The service: one output job of the parent application, from the start of the process to its end.
///
///     launch -> local port open -> parent's port found -> requests, notifications -> termination
///
/// Made by the composition root. Everything runs on the main queue, as tasks that interleave where they wait,
/// except the copy of a volume, which runs on the thread that changed it.
class ORBRouteService {
  public:
    /// Exit statuses, besides 0 and that of a missing system class.
    static constexpr int noLaunchConfigStatus = 64;  // EX_USAGE
    static constexpr int badLaunchConfigStatus = 65; // EX_DATAERR
    static constexpr int noParentStatus = -1;

    enum class TerminateReply { cancel, now };

    explicit ORBRouteService(ORBRouteServicePlatform platform);

    /// No task is left (see `drain`), or the process ends without this.
    ~ORBRouteService();
    ORBRouteService(const ORBRouteService&) = delete;
    ORBRouteService& operator=(const ORBRouteService&) = delete;

    /// Starts the service; returns while it looks for the parent.
    void applicationDidFinishLaunching();

    /// The system asks the service to end.
    TerminateReply applicationShouldTerminate();

    /// The only way out: stops the sound, and ends the process. Only the first call counts.
    void terminate(int exitCode, std::string_view reason);

    /// Routes exactly the devices asked for, and no others; one request at a time, in their order. The newest
    /// one says at once what is to be mirrored. Throws `ORBDeviceConnectionError`, `OperationTimeout`,
    /// `DeviceRestoreError`, `CancellationError`.
    dispatch::Task<ORBUpdateDevicesReply> handleMessage(ORBAppToServiceMessage message);

    /// Takes over which devices are routed now, later.
    void scheduleOutputDevicesRefresh();

    /// Gives up the port at which the parent reaches the service, for whoever ends the process.
    void closePort();

    /// Cancels what is under way and lets go of everything. For tests: the process simply ends.
    dispatch::Task<> drain();

    bool deviceUpdateInProgress() const { return deviceUpdateInProgress_; }
    const std::shared_ptr<ORBMirrorDevice>& mirrorDevice() const { return mirrorDevice_; }
    const std::shared_ptr<lmn::LMNDevice>& contextDevice() const { return contextDevice_; }
    const std::shared_ptr<AVOutputContextProtocol>& context() const { return context_; }

  private:
    using Device = std::shared_ptr<lmn::LMNDevice>;
    using Devices = std::vector<Device>;
    using OutputDevice = std::shared_ptr<AVOutputDeviceProtocol>;
    using OutputDevices = std::vector<OutputDevice>;
    class Turn;
    using Turns = std::deque<const Turn*>;

    // Start and end: ORBRouteService.cpp.
    void setupSignalSources();
    bool readLaunchConfig();
    void readDebugFlag();
    void adoptParentsBundle();
    bool makeContextDevice();
    void observeSettings();
    foundation::Subscription observeAllButTheFirst(const char* name, std::function<void()> handler);
    void openMessagePort();
    dispatch::Task<std::optional<IPCMessage>> answer(ORBAppToServiceMessage message);
    dispatch::Task<IPCMessage> reply(ORBAppToServiceMessage message);
    dispatch::Task<> parentDisconnected();
    dispatch::Task<> connectToParent();
    void observeOutput();
    void configureRemoteCommands();

    // Which devices are routed: ORBRouteServiceDevices.cpp.
    dispatch::Task<ORBUpdateDevicesReply> updateDevices(Devices wanted,
                                                        std::shared_ptr<ORBPickerWindow>& window);
    dispatch::Task<> connectMissing(Devices wanted, ORBPickerWindow& window);
    dispatch::Task<> connect(Device device, ORBPickerWindow& window);
    dispatch::Task<> disconnect(Devices surplus, ORBPickerWindow& window);
    dispatch::Task<> awaitContextDevice();
    void endUpdate(const std::shared_ptr<ORBPickerWindow>& window);
    ORBUpdateDevicesReply connectedDevices() const;
    Devices virtualDevices() const;
    void setTargetDevices(const std::set<LMNDeviceCodable>& devices);
    dispatch::Task<> refreshOutputDevices();
    void outputDevicesDidChange(const OutputDevices& previous);
    dispatch::Task<> reconnectIfNeeded();
    dispatch::Task<> reconnect();
    void send(const ORBServiceToAppMessage& message) const;

    // How they are rendered, and how loud: ORBRouteServiceRendering.cpp.
    void updateRenderDeviceConfiguration();
    std::shared_ptr<lmn::ServedDevice> keepServed() const;
    std::shared_ptr<ORBMirrorDevice> makeMirrorDevice();
    void applyDeviceOverrides();
    static void pushDeviceVolume(AVOutputDeviceProtocol& output, lmn::LMNDevice& device);
    void updateVolumeObservers();
    void syncVolumesFromOutputDevices();

    const ORBRouteServicePlatform platform_;
    dispatch::Queue& mainQueue_;
    std::optional<ORBRouteServiceLaunchConfig> config_;
    std::shared_ptr<AVOutputContextProtocol> context_;
    std::shared_ptr<ORBMirrorDevice> mirrorDevice_;
    Device contextDevice_;
    std::shared_ptr<ORBMessagePort> messagePort_;
    std::vector<std::unique_ptr<dispatch::SignalSource>> signalSources_;
    bool isTerminating_ = false;
    std::vector<foundation::Subscription> cancellable_;
    bool deviceUpdateInProgress_ = false;
    Turns waitingUpdates_; // in the order of their arrival
    std::set<Device> connectingDevices_;
    std::vector<foundation::Subscription> volumeObservers_;
    OutputDevices outputDevices_; // as last seen

    const std::shared_ptr<TapIOActivity> tapActivity_;
    dispatch::Debounce outputDevicesSettled_;
    dispatch::Debounce volumeSettled_;
    dispatch::TaskGroup tasks_;
};

} // namespace orb
