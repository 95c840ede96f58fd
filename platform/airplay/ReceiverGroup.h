// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/Receiver.h"

#include <memory>
#include <string>
#include <vector>

namespace airplay {

/// Receivers that are connected together, the leader first; mostly it is one alone. A value.
struct ReceiverGroup {
    std::vector<std::shared_ptr<Receiver>> receivers; // never empty

    const Receiver& leader() const { return *receivers.front(); }

    bool operator==(const ReceiverGroup&) const = default;
};

/// The groups of these receivers, in the order of their leaders: those with the same TXT "gid" are one, led
/// by the first of them; one without "gid" is alone.
std::vector<ReceiverGroup> groupsOf(const std::vector<std::shared_ptr<Receiver>>& receivers);

} // namespace airplay
