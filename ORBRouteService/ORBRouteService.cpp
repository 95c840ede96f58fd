// SPDX-License-Identifier: MIT
// How the service starts and ends.
#include "ORBRouteService/ORBRouteService.h"

#include "ORBRouteService/devices/DeviceRestoreError.h"
#include "ORBRouteService/ipc/IPCCancellationError.h"
#include "ORBRouteService/ipc/IPCError.h"
#include "ORBRouteService/ipc/ORBDeviceConnectionError.h"
#include "ORBRouteService/log/ORBDebugLog.h"
#include "ORBRouteService/log/debugActive.h"
#include "ORBRouteService/log/environmentFlagEnabled.h"
#include "ORBRouteService/log/flight/FlightRecorder.h"
#include "ORBRouteService/picker/waiting/OperationTimeout.h"

#include "platform/dispatch/runOn.h"
#include "platform/foundation/Bundle.h"

#include <fmt/format.h>

#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <utility>

namespace orb {
namespace {

constexpr auto outputDevicesQuiet = std::chrono::milliseconds(100);
constexpr auto volumeQuiet = std::chrono::milliseconds(500);

constexpr std::size_t launchConfigArgument = 1;

} // namespace

ORBRouteService::ORBRouteService(ORBRouteServicePlatform platform)
    : platform_(std::move(platform)),
      mainQueue_(platform_.realm.mainQueue()),
      tapActivity_(std::make_shared<TapIOActivity>(mainQueue_)),
      outputDevicesSettled_(mainQueue_, outputDevicesQuiet, [this] { scheduleOutputDevicesRefresh(); }),
      volumeSettled_(mainQueue_, volumeQuiet, [this] { syncVolumesFromOutputDevices(); }),
      tasks_(mainQueue_) {}

ORBRouteService::~ORBRouteService() = default;

void ORBRouteService::applicationDidFinishLaunching() {
    mainQueue_.assertCurrent();
    setupSignalSources();
    platform_.audioPolicies.setAudiodEnabled(true);
    platform_.audioPolicies.setStereoMixdownDeviceEnabled(true);
    platform_.systemClasses.resolveAll();
    platform_.application.setActivationPolicy(appkit::NSApplicationActivationPolicy::prohibited);
    if (!readLaunchConfig()) {
        return;
    }
    auto& contexts = platform_.systemClasses.outputContextClass();
    context_ = config_->supportsGroupedAirPlay ? contexts.defaultSharedOutputContext()
                                               : contexts.auxiliaryOutputContext();
    readDebugFlag();
    ORBDebugLog(1, "Service launched with config: {}", config_->description());
    adoptParentsBundle();
    if (!makeContextDevice()) {
        return;
    }
    context_->setApplicationProcessID(::getpid());
    observeSettings();
    updateRenderDeviceConfiguration();
    openMessagePort();
    tasks_.spawn(connectToParent());
}

void ORBRouteService::setupSignalSources() {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        signalSources_.push_back(std::make_unique<dispatch::SignalSource>(
            mainQueue_, signal, [this, signal] { terminate(0, fmt::format("received signal {}", signal)); }));
    }
}

bool ORBRouteService::readLaunchConfig() {
    if (platform_.arguments.size() <= launchConfigArgument) {
        ORBDebugLog(4, "ORBRouteService - the launch configuration is missing: it is the first argument");
        platform_.exit(noLaunchConfigStatus);
        return false;
    }
    try {
        config_ = ORBRouteServiceLaunchConfig::fromArgument(platform_.arguments[launchConfigArgument]);
        return true;
    } catch (const LaunchConfigError& error) {
        ORBDebugLog(4, "ORBRouteService - the launch configuration cannot be read: {}", error.what());
        platform_.exit(badLaunchConfigStatus);
        return false;
    }
}

void ORBRouteService::readDebugFlag() {
    const std::string processName = std::filesystem::path(platform_.arguments.front()).filename();
    const auto debugger = platform_.debugCenter.debuggerNamed(processName);
    debugActive = environmentFlagEnabled("ORB_FORCE_LOGGING") || (debugger && debugger->isActive);
}

/// Whoever asks what this process is hears that it is the parent.
void ORBRouteService::adoptParentsBundle() {
    if (const auto path = config_->bundle.filePath()) {
        foundation::Bundle::setMainBundle(std::make_shared<foundation::Bundle>(*path));
    }
}

bool ORBRouteService::makeContextDevice() {
    try {
        contextDevice_ = config_->device.toLMNDevice();
        recordFlight(FlightKind::launched, {.subject = contextDevice_->deviceUID(),
                                            .text = contextDevice_->name(),
                                            .numbers = {static_cast<double>(config_->pid),
                                                        config_->supportsGroupedAirPlay ? 1.0 : 0.0}});
        return true;
    } catch (const DeviceRestoreError& error) {
        ORBDebugLog(4, "ORBRouteService - the launch configuration cannot be used: {}", error.what());
        platform_.exit(badLaunchConfigStatus);
        return false;
    }
}

void ORBRouteService::observeSettings() {
    cancellable_.push_back(
        observeAllButTheFirst(ORBConfigurationDidChange, [this] { updateRenderDeviceConfiguration(); }));
    cancellable_.push_back(
        observeAllButTheFirst(ORBDeviceOverrideDidChange, [this] { applyDeviceOverrides(); }));
}

/// The first one tells what is known already.
foundation::Subscription ORBRouteService::observeAllButTheFirst(const char* name,
                                                                std::function<void()> handler) {
    return platform_.notifications.observe(
        name, nullptr, &mainQueue_,
        [name, handler = std::move(handler), isFirst = true](const foundation::Notification&) mutable {
            if (!std::exchange(isFirst, false)) {
                recordFlight(FlightKind::notice, {.subject = name});
                handler();
            }
        });
}

void ORBRouteService::openMessagePort() {
    messagePort_ = ORBMessagePort::create<ORBAppToServiceMessage>(
        {.realm = platform_.realm,
         .taskPool = platform_.taskPool,
         .notifications = platform_.notifications,
         .runtimeDirectory = platform_.runtimeDirectory},
        config_->remotePort, config_->localPort, [this] { return parentDisconnected(); },
        [this](ORBAppToServiceMessage message) { return answer(std::move(message)); });
}

/// A task of the pool; the work is done on the main queue.
dispatch::Task<std::optional<IPCMessage>> ORBRouteService::answer(ORBAppToServiceMessage message) {
    co_return co_await dispatch::runOn(mainQueue_, reply(std::move(message)));
}

/// A failure is a reply as well: as itself, where the parent can read it, else as its text.
dispatch::Task<IPCMessage> ORBRouteService::reply(ORBAppToServiceMessage message) {
    try {
        const ORBUpdateDevicesReply connected = co_await handleMessage(std::move(message));
        co_return IPCMessage::wrapping(connected);
    } catch (const ORBDeviceConnectionError& error) {
        co_return IPCMessage::wrapping(error);
    } catch (const OperationTimeout& error) {
        co_return IPCMessage::wrapping(error);
    } catch (const std::exception& error) {
        co_return IPCMessage::wrapping(IPCError(error.what()));
    }
}

dispatch::Task<> ORBRouteService::parentDisconnected() {
    terminate(0, "parent process disconnected");
    co_return;
}

dispatch::Task<> ORBRouteService::connectToParent() {
    std::string failure;
    try {
        co_await messagePort_->setupRemotePort();
    } catch (const dispatch::CancellationError&) {
        throw;
    } catch (const std::exception& error) {
        failure = error.what();
    }
    if (!failure.empty()) {
        ORBDebugLog(4, "ORBRouteService - Failed to set up remote port error={}", failure);
        terminate(noParentStatus, "failed to set up remote port");
        co_return;
    }
    observeOutput();
    configureRemoteCommands();
}

void ORBRouteService::observeOutput() {
    cancellable_.push_back(platform_.notifications.observe(
        avfoundation::AVSampleBufferRenderSynchronizerRateDidChangeNotification,
        &mirrorDevice_->syncronizer(), &mainQueue_, [this](const foundation::Notification&) {
            recordFlight(FlightKind::notice, {.subject = "rateDidChange"});
            scheduleOutputDevicesRefresh();
        }));
    cancellable_.push_back(platform_.notifications.observe(
        avfoundation::AVOutputContextOutputDevicesDidChangeNotification, context_->notificationObject(),
        &mainQueue_, [this](const foundation::Notification&) {
            recordFlight(FlightKind::notice, {.subject = "outputDevicesDidChange"});
            outputDevicesSettled_.touch();
        }));
}

void ORBRouteService::configureRemoteCommands() {
    mediaplayer::MPRemoteCommandCenter& commands = platform_.remoteCommands;
    commands.playCommand.setEnabled(false);
    commands.pauseCommand.setEnabled(false);
    commands.togglePlayPauseCommand.setEnabled(true);
    commands.nextTrackCommand.setEnabled(false);
    commands.changePlaybackPositionCommand.setEnabled(false);
}

ORBRouteService::TerminateReply ORBRouteService::applicationShouldTerminate() {
    terminate(0, "applicationShouldTerminate");
    return TerminateReply::cancel;
}

void ORBRouteService::terminate(int exitCode, std::string_view reason) {
    mainQueue_.assertCurrent();
    if (std::exchange(isTerminating_, true)) {
        return;
    }
    ORBDebugLog(1, "Terminating ORBRouteService: {}", reason);
    recordFlight(FlightKind::terminated, {.text = reason, .numbers = {static_cast<double>(exitCode)}});
    if (mirrorDevice_) {
        mirrorDevice_->tapQueue().dispatchSyncImmed([&] { mirrorDevice_->stop(reason); });
    }
    platform_.exit(exitCode);
}

void ORBRouteService::closePort() {
    if (const auto port = std::exchange(messagePort_, nullptr)) {
        port->invalidate();
    }
}

dispatch::Task<> ORBRouteService::drain() {
    co_await tasks_.drain();
    cancellable_.clear();
    volumeObservers_.clear();
    signalSources_.clear();
    closePort();
    if (mirrorDevice_) {
        mirrorDevice_->stop("");
        mirrorDevice_->drain();
        mirrorDevice_.reset();
    }
    outputDevices_.clear();
    context_.reset();
}

} // namespace orb
