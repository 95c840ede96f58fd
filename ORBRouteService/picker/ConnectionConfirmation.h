// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Clock.h"

#include <chrono>

namespace orb {

/// Decides what to do next while a connection is waited for; `waitForConnectionConfirmation` does it.
///
///     press -> device not there yet -> (prompt, as long as it is shown) -> device there, or not
///
/// The device has 20 s to join. While the system asks the user for its password the deadline keeps moving, to
/// 2 s after the last look at the prompt. A device found only after its deadline counts as missing. A value,
/// and knows nothing but the time and the answers it is given.
class ConnectionConfirmation {
  public:
    enum class Action {
        lookInContext, // is the device among the context's?
        lookForPrompt, // is a password or code asked for it?
        lookForAlert,  // is its failure told?
        announcePrompt,
        sleepWithPrompt,   // for `promptPause`
        sleepBetweenPolls, // for `pollPause`
        // The last one:
        succeed,
        pressAlertButtonAndFail,
        failForPassword,
        failForTimeout,
    };

    static constexpr dispatch::Nanoseconds patience = std::chrono::seconds(20);
    static constexpr dispatch::Nanoseconds patienceAfterPrompt = std::chrono::seconds(2);
    static constexpr dispatch::Nanoseconds promptPause = std::chrono::seconds(1);
    static constexpr dispatch::Nanoseconds pollPause = std::chrono::milliseconds(500);

    /// The wait begins now.
    explicit ConnectionConfirmation(dispatch::HostTime now) : deadline_(now + patience) {}

    /// What to do at `now`, after the last action was done. `answer` is that of a look, and of no meaning
    /// after another action. Not called after one of the last ones.
    Action next(dispatch::HostTime now, bool answer);

  private:
    enum class Step {
        firstLook,
        firstLookInContext,
        firstLookForPrompt,
        passwordAnnounced,
        passwordSlept,
        passwordLookForPrompt,
        alertCheck,
        alertSlept,
        pollInContext,
        pollForPrompt,
        recheck,
    };

    Action go(Step step, Action action);
    Action firstLook(dispatch::HostTime now);
    Action poll(dispatch::HostTime now);
    Action confirm(dispatch::HostTime now);
    Action finish(dispatch::HostTime now) const;
    bool isOver(dispatch::HostTime now) const { return now > deadline_; }

    dispatch::HostTime deadline_;
    bool passwordSeen_ = false; // a prompt for the device was shown, and has gone
    Step step_ = Step::firstLook;
};

} // namespace orb
