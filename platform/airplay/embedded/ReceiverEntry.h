// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/Receiver.h"
#include "platform/airplay/Secret.h"
#include "platform/dispatch/Clock.h"

#include <filesystem>
#include <optional>
#include <vector>

namespace airplay {

/// How a receiver of a receivers file, and its user, behave. A value.
struct ReceiverBehaviour {
    enum class Outcome {
        connects,
        refuses,
        never,    ///< says nothing any more
        vanishes, ///< goes out of sight, and stays so
    };

    struct WantedSecret {
        SecretKind kind = SecretKind::password;
        Secret secret;

        bool operator==(const WantedSecret&) const = default;
    };

    /// What the user does at one question.
    struct Answer {
        dispatch::Nanoseconds after{};
        std::optional<Secret> secret; ///< nullopt: dismisses it

        bool operator==(const Answer&) const = default;
    };

    dispatch::Nanoseconds discoveryDelay{};  ///< from the beginning of a search until it is in sight
    dispatch::Nanoseconds connectDelay{};    ///< from the request, or the right answer, to the outcome
    dispatch::Nanoseconds disconnectDelay{}; ///< from the request to let go until it has
    std::optional<WantedSecret> wanted;      ///< what it asks for
    std::vector<Answer> answers;             ///< to the questions of one attempt, in order
    Outcome outcome = Outcome::connects;
    std::optional<ReceiverDescription> connectsAs;  ///< of what turns up instead
    std::optional<dispatch::Nanoseconds> lostAfter; ///< from the connection to its loss

    bool operator==(const ReceiverBehaviour&) const = default;
};

/// One entry of a receivers file. A value.
struct ReceiverEntry {
    ReceiverDescription description;
    std::optional<std::filesystem::path> file; ///< where its sound is stored; nullopt: nowhere
    float volume = 1;
    ReceiverBehaviour behaviour;
};

} // namespace airplay
