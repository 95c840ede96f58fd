// SPDX-License-Identifier: MIT
#include "platform/lmn/LMNDispatchQueue.h"

#include "platform/lmn/LMNLog.h"

#include <fmt/format.h>

#include <atomic>
#include <system_error>
#include <utility>

namespace lmn {

LMNDispatchQueue::LMNDispatchQueue(dispatch::Realm& realm, std::string label)
    : queue_(realm.makeQueue(std::move(label))) {}

void LMNDispatchQueue::setRealTime() {
    static std::atomic<bool> refusalLogged{false};
    const int refusal = queue_->setRealTime();
    if (refusal != 0 && !refusalLogged.exchange(true))
        LMNLog(1,
               fmt::format("LMNDispatchQueue: no real-time scheduling ({}); sound goes on, with less margin "
                           "against a busy machine\n",
                           std::generic_category().message(refusal)));
}

} // namespace lmn
