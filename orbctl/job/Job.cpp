// SPDX-License-Identifier: MIT
#include "orbctl/job/Job.h"

#include "orbctl/job/JobBoard.h"

#include "ORBRouteService/ORBRouteServiceLaunchConfig.h"
#include "ORBRouteService/ipc/IPCError.h"
#include "ORBRouteService/ipc/ORBDeviceConnectionError.h"
#include "ORBRouteService/picker/waiting/OperationTimeout.h"

#include "platform/foundation/PathName.h"
#include "platform/foundation/coding/UUID.h"

#include <fmt/format.h>

#include <unistd.h>

#include <exception>
#include <utility>

namespace orbctl {
namespace {

/// Within which a service answers, s: it may wait for a person who looks for a password.
constexpr dispatch::Seconds requestTimeout{180.0};

void removeDirectory(const std::filesystem::path& directory) {
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
}

/// Nothing of it stays when it is let go, or could not be made whole.
std::shared_ptr<lmn::LMNDevice> makeHiddenDevice(ParentPlatform& platform) {
    const lmn::LMNVirtualDeviceConfig config{
        .name = "orbctl",
        .deviceUID = jobDeviceUIDPrefix + foundation::UUID::random().string(),
        .hidden = true};
    lmn::LMNDeviceManager& manager = platform.deviceManager();
    auto device = manager.deviceFromArchive(manager.archiveFromConfig(config, false));
    if (!device) {
        removeDirectory(platform.runtimeDirectory().path() / "devices" /
                        foundation::pathComponentOf(config.deviceUID));
        throw std::runtime_error("there can be no virtual device to play into");
    }
    return {device.get(), [device, &manager](lmn::LMNDevice*) {
                manager.forget(device->deviceUID());
                removeDirectory(device->directory().path());
            }};
}

std::string adviceOn(orb::ORBDeviceConnectionError::Case errorCase) {
    using Case = orb::ORBDeviceConnectionError::Case;
    switch (errorCase) {
        case Case::passwordRequired:
        case Case::userCancelledConnection:
            return "start it from a terminal and answer when it asks, or give the receiver's entry answers";
        case Case::timedOutWaitingForPicker:
        case Case::noPickerWindow:
            return "try again; --log FILE keeps what the service says";
        case Case::connectionRejectectedMessage:
        case Case::alertMessagePresented:
            return "the receiver refused: is it in use elsewhere?";
        default:
            return "is the receiver on and in sight? (orbctl receivers)";
    }
}

} // namespace

Job::Job(ParentPlatform& platform, Options options, Events events)
    : platform_(platform),
      options_(std::move(options)),
      events_(std::move(events)),
      device_(makeHiddenDevice(platform)),
      targetDevice_(options_.target.makeDevice(platform.deviceManager())),
      link_({.realm = platform.realm(),
             .taskPool = platform.taskPool(),
             .notifications = platform.notifications(),
             .runtimeDirectory = platform.runtimeDirectory()},
            names_, *this) {}

Job::~Job() {
    isEnding_ = true;
    link_.close();
    process_.reset();
    std::error_code ignored; // where it was killed, its port is left
    std::filesystem::remove(
        platform_.runtimeDirectory().path() / "ports" / foundation::pathComponentOf(names_.service), ignored);
}

dispatch::Task<> Job::start() {
    std::optional<JobFailure> failure;
    try {
        startService();
        co_await link_.connect();
        co_await route();
    } catch (const dispatch::CancellationError&) {
        throw;
    } catch (const std::exception& error) {
        failure = describe(error);
    }
    if (failure) {
        fail(std::move(*failure));
    } else if (state_ != State::failed) {
        enter(State::connected);
        applyVolume();
    }
}

void Job::startService() {
    applyVolume(); // for a target that joins silent
    const orb::ORBRouteServiceLaunchConfig config{
        .pid = ::getpid(),
        .bundle = foundation::URL::forFile(std::filesystem::read_symlink("/proc/self/exe").parent_path()),
        .device = orb::LMNDeviceCodable::from(*device_),
        .supportsGroupedAirPlay = options_.grouped || orb::supportsGroupedAirPlay(*targetDevice_),
        .localPort = names_.parent,
        .remotePort = names_.service};
    const ServiceProcess::Options options{
        .program = options_.service,
        .argument = config.argument(),
        .environment = {fmt::format("ORB_RECEIVERS_FILE={}", options_.receiversFile.string()),
                        fmt::format("ORB_PROMPT_SOCKET={}", options_.promptSocket.string())}};
    process_ = std::make_unique<ServiceProcess>(
        platform_.mainQueue(), options, [this](const std::string& line) { serviceLogged(line); },
        [this](int status) { processEnded(status); });
}

dispatch::Task<> Job::route() {
    std::set<orb::LMNDeviceCodable> wanted{orb::LMNDeviceCodable::from(*targetDevice_)};
    co_await link_.updateDevices(std::move(wanted), requestTimeout);
}

/// A target that joins with a volume keeps it, so this is said before and after. By a device of its own,
/// since what the service has just written may not have been noticed here yet.
void Job::applyVolume() {
    if (!options_.volume) {
        return;
    }
    lmn::LMNDevice current(
        targetDevice_->config(),
        platform_.runtimeDirectory().subdirectory("devices").subdirectory(targetDevice_->deviceUID()),
        platform_.mainQueue());
    current.setVolume(*options_.volume);
    current.setMuted(false);
}

void Job::terminate() {
    isEnding_ = true;
    link_.close();
    if (process_) {
        process_->terminate();
    }
    if (state_ != State::failed) {
        enter(State::ended);
    }
}

void Job::fail(JobFailure failure) {
    if (!isEnding_ && state_ != State::failed) {
        failure_ = std::move(failure);
        enter(State::failed);
    }
}

void Job::serviceLogged(const std::string& line) {
    lastWords_ = failureOf(line).value_or(lastWords_);
    events_.logged(*this, line);
}

void Job::processEnded(int status) {
    const std::string words = lastWords_.empty() ? "" : fmt::format(": {}", lastWords_);
    fail({.text = fmt::format("the service ended with status {}{}", status, words),
          .code = std::nullopt,
          .advice = "--log FILE keeps all that it says"});
    link_.close(); // whoever waits for it waits in vain
}

/// Its process follows, and tells why.
void Job::serviceEnded() {
    if (process_) {
        process_->terminate();
    }
}

void Job::deviceConnecting(const std::set<orb::LMNDeviceCodable>&) { enter(State::connecting); }

void Job::deviceConnected(const orb::LMNDeviceCodable&) { enter(State::connected); }

void Job::deviceWasDisconnected(const orb::LMNDeviceCodable&) {
    wasInterrupted_ = wasInterrupted_ || !isEnding_;
    enter(State::disconnected);
}

void Job::enter(State state) {
    const bool isOver = state_ == State::failed || state_ == State::ended;
    if (state != state_ && !isOver) {
        state_ = state;
        events_.changed(*this);
    }
}

JobFailure Job::describe(const std::exception& error) const {
    if (const auto* refusal = dynamic_cast<const orb::ORBDeviceConnectionError*>(&error)) {
        return {refusal->errorDescription(), refusal->errorCode(), adviceOn(refusal->errorCase())};
    }
    if (dynamic_cast<const orb::OperationTimeout*>(&error) != nullptr) {
        return {error.what(), std::nullopt, "is the receiver on and in sight? (orbctl receivers)"};
    }
    if (const auto* failure = dynamic_cast<const orb::ORBMessagePortError*>(&error)) {
        const bool isSilent = failure->code() == orb::ORBMessagePortError::Code::messageTimeout;
        return {isSilent ? "the service does not answer" : "the link with the service broke", std::nullopt,
                "try again; --log FILE keeps what the service says"};
    }
    return {error.what(), std::nullopt, ""};
}

std::string_view nameOf(Job::State state) {
    switch (state) {
        case Job::State::starting:
            return "starting";
        case Job::State::connecting:
            return "connecting";
        case Job::State::connected:
            return "connected";
        case Job::State::disconnected:
            return "disconnected";
        case Job::State::failed:
            return "failed";
        case Job::State::ended:
            return "ended";
    }
    return "";
}

} // namespace orbctl
