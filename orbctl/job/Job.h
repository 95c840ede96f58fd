// SPDX-License-Identifier: MIT
#pragma once

#include "orbctl/client/ServiceLink.h"
#include "orbctl/job/ParentPlatform.h"
#include "orbctl/job/ReceiverList.h"
#include "orbctl/job/ServiceProcess.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace orbctl {

/// Why a job cannot play. The text is the service's own, where it said something.
struct JobFailure {
    std::string text;
    std::optional<int> code; // of an ORBDeviceConnectionError
    std::string advice;      // what to do about it; may be empty
};

/// One output job: a virtual device to play into, and a service process that mirrors it to one target. Its
/// owner ends it before it is destroyed, by `terminate` and patience, else the process is killed. Main queue.
class Job final : public ServiceEvents {
  public:
    struct Options {
        Target target;
        bool grouped = false;         ///< the context for groups, whatever the target says
        std::optional<double> volume; ///< of the target, 0 to 1
        std::filesystem::path service;
        std::filesystem::path receiversFile;
        std::filesystem::path promptSocket;
    };

    enum class State { starting, connecting, connected, disconnected, failed, ended };

    /// They do not destroy the job.
    struct Events {
        std::function<void(const Job& job)> changed;                         ///< its state
        std::function<void(const Job& job, const std::string& line)> logged; ///< by its service
    };

    Job(ParentPlatform& platform, Options options, Events events);
    ~Job() override;
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;

    /// Starts the service and routes the target. Ends with the state connected or failed. Throws
    /// CancellationError.
    dispatch::Task<> start();

    /// Asks the service to end.
    void terminate();
    bool hasEnded() const { return !process_ || process_->hasEnded(); }

    /// Does not let it end in order.
    void kill() { process_.reset(); }

    /// The sound cannot be heard any more.
    void fail(JobFailure failure);

    /// Whether a device was lost meanwhile, even if it came back.
    bool wasInterrupted() const { return wasInterrupted_; }

    State state() const { return state_; }
    const Target& target() const { return options_.target; }
    const std::optional<JobFailure>& failure() const { return failure_; }
    const std::string& deviceUID() const { return device_->deviceUID(); }

    /// Where it is played into.
    const foundation::RuntimeDirectory& device() const { return device_->directory(); }

    void deviceConnecting(const std::set<orb::LMNDeviceCodable>& devices) override;
    void deviceConnected(const orb::LMNDeviceCodable& device) override;
    void deviceWasDisconnected(const orb::LMNDeviceCodable& device) override;
    void serviceEnded() override;

  private:
    void startService();
    dispatch::Task<> route();
    void applyVolume();
    void serviceLogged(const std::string& line);
    void processEnded(int status);
    void enter(State state);
    JobFailure describe(const std::exception& error) const;

    ParentPlatform& platform_;
    const Options options_;
    const Events events_;
    const PortNames names_ = PortNames::fresh();
    const std::shared_ptr<lmn::LMNDevice> device_;       // into which is played
    const std::shared_ptr<lmn::LMNDevice> targetDevice_; // that stands for the target
    ServiceLink link_;
    std::unique_ptr<ServiceProcess> process_;
    State state_ = State::starting;
    bool isEnding_ = false;
    bool wasInterrupted_ = false;
    std::string lastWords_; // the newest failure that the service logged
    std::optional<JobFailure> failure_;
};

/// "connecting", ...: for people and programs.
std::string_view nameOf(Job::State state);

} // namespace orbctl
