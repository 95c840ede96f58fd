// SPDX-License-Identifier: MIT
#include "ORBRouteService/picker/ConnectionConfirmation.h"

namespace orb {

using Action = ConnectionConfirmation::Action;

Action ConnectionConfirmation::next(dispatch::HostTime now, bool answer) {
    switch (step_) {
        case Step::firstLook:
            return firstLook(now);
        case Step::firstLookInContext:
            return answer ? finish(now) : go(Step::firstLookForPrompt, Action::lookForPrompt);
        case Step::passwordAnnounced:
            deadline_ = now + patienceAfterPrompt;
            return go(Step::passwordSlept, Action::sleepWithPrompt);
        case Step::passwordSlept:
            return go(Step::passwordLookForPrompt, Action::lookForPrompt);
        case Step::passwordLookForPrompt:
            passwordSeen_ = passwordSeen_ || !answer;
            [[fallthrough]];
        case Step::firstLookForPrompt:
        case Step::pollForPrompt:
            return answer ? go(Step::passwordAnnounced, Action::announcePrompt)
                          : go(Step::alertCheck, Action::lookForAlert);
        case Step::alertCheck:
            return answer ? Action::pressAlertButtonAndFail : go(Step::alertSlept, Action::sleepBetweenPolls);
        case Step::alertSlept:
            return poll(now);
        case Step::pollInContext:
            return answer ? confirm(now) : go(Step::pollForPrompt, Action::lookForPrompt);
        case Step::recheck:
            break;
    }
    return answer ? finish(now) : Action::failForPassword;
}

Action ConnectionConfirmation::go(Step step, Action action) {
    step_ = step;
    return action;
}

Action ConnectionConfirmation::firstLook(dispatch::HostTime now) {
    return isOver(now) ? finish(now) : go(Step::firstLookInContext, Action::lookInContext);
}

Action ConnectionConfirmation::poll(dispatch::HostTime now) {
    return isOver(now) ? confirm(now) : go(Step::pollInContext, Action::lookInContext);
}

/// After a prompt the device is looked for once more: it may have come and gone.
Action ConnectionConfirmation::confirm(dispatch::HostTime now) {
    return passwordSeen_ ? go(Step::recheck, Action::lookInContext) : finish(now);
}

Action ConnectionConfirmation::finish(dispatch::HostTime now) const {
    return isOver(now) ? Action::failForTimeout : Action::succeed;
}

} // namespace orb
