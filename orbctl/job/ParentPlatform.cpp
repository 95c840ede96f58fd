// SPDX-License-Identifier: MIT
#include "orbctl/job/ParentPlatform.h"

#include "platform/dispatch/SignalSource.h"
#include "platform/dispatch/TaskGroup.h"
#include "platform/foundation/StandardPaths.h"
#include "platform/lmn/LMNLog.h"

#include <csignal>
#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace orbctl {
namespace {

/// Between two looks whether a command is done.
constexpr auto endInterval = std::chrono::milliseconds(5);

void report(const std::string& line) { lmn::LMNLog(4, line + "\n"); }

/// One command under way. Main queue.
class Run {
  public:
    Run(dispatch::RealRealm& realm, const ParentWork& work)
        : realm_(realm), platform_(realm), work_(work), tasks_(realm.mainQueue()) {}

    void begin() {
        for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
            signals_.push_back(std::make_unique<dispatch::SignalSource>(realm_.mainQueue(), signal,
                                                                        [this] { interrupt(); }));
        }
        tasks_.spawn(perform());
    }

    bool hasEnded() const { return hasEnded_ && tasks_.running() == 0; }

    int status() const {
        if (failure_) {
            std::rethrow_exception(failure_);
        }
        return status_;
    }

  private:
    void interrupt() {
        if (isInterrupted_) {
            platform_.actLast();
            std::_Exit(interruptedStatus);
        }
        isInterrupted_ = true;
        tasks_.cancel();
    }

    dispatch::Task<> perform() {
        try {
            status_ = co_await work_(platform_);
        } catch (const dispatch::CancellationError&) {
            status_ = interruptedStatus;
        } catch (...) {
            failure_ = std::current_exception();
        }
        tasks_.spawn(clearUp()); // of its own: nothing has cancelled it
    }

    dispatch::Task<> clearUp() {
        co_await platform_.taskPool().drain();
        hasEnded_ = true;
    }

    dispatch::RealRealm& realm_;
    ParentPlatform platform_;
    const ParentWork& work_;
    std::vector<std::unique_ptr<dispatch::SignalSource>> signals_;
    dispatch::TaskGroup tasks_;
    int status_ = 0;
    std::exception_ptr failure_;
    bool isInterrupted_ = false;
    bool hasEnded_ = false;
};

} // namespace

ParentPlatform::ParentPlatform(dispatch::RealRealm& realm)
    : realm_(realm),
      runtimeDirectory_(foundation::standardRuntimePath()),
      taskPool_(realm),
      distributedNotifications_(realm.mainQueue(), runtimeDirectory_, report),
      defaults_(orb::ORBUserDefaults::create({.queue = realm.mainQueue(),
                                              .notificationCenter = notifications_,
                                              .configDirectory = foundation::standardConfigPath(),
                                              .report = report})),
      manager_({.mainQueue = realm.mainQueue(),
                .notifications = notifications_,
                .distributedNotifications = distributedNotifications_,
                .defaults = *defaults_}),
      deviceManager_(runtimeDirectory_, realm.mainQueue()) {}

int onParentPlatform(const ParentWork& work) {
    dispatch::RealRealm realm;
    dispatch::Queue& main = realm.mainQueue();
    std::optional<Run> run;
    int status = 0;
    std::exception_ptr failure;
    const std::function<void()> endWhenDone = [&] {
        if (!run->hasEnded()) {
            main.asyncAfter(endInterval, endWhenDone);
            return;
        }
        try {
            status = run->status();
        } catch (...) {
            failure = std::current_exception();
        }
        run.reset();
        realm.stop();
    };
    main.async([&] {
        try {
            run.emplace(realm, work);
            run->begin();
            endWhenDone();
        } catch (...) {
            failure = std::current_exception();
            realm.stop();
        }
    });
    realm.run();
    if (failure) {
        std::rethrow_exception(failure);
    }
    return status;
}

} // namespace orbctl
