// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/log/flight/FlightKind.h"

#include "platform/dispatch/Clock.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orb {

/// What is to be recorded beside the kind, which says what each means.
struct FlightNote {
    std::string_view subject = {};
    std::string_view text = {};
    std::uint64_t request = 0; // of a message
    std::array<double, 3> numbers = {};
};

/// A record as it is read. Texts are well-formed UTF-8 without control characters.
struct FlightRecord {
    std::uint64_t sequence = 0; // from 1, in the order in which recording began
    dispatch::HostTime time;
    FlightKind kind{};
    std::uint64_t request = 0;
    std::array<double, 3> numbers{};
    std::string queue; // whose work recorded it; empty: none's
    std::string subject;
    std::string text;

    bool operator==(const FlightRecord&) const = default;
};

/// A record as it stands in memory and in files, in the byte order of the machine. The seal is a hash of all
/// else that is used, by which a slot is known that was written only in part, or by two. Sequence 0: never
/// used.
struct FlightSlot {
    static constexpr std::size_t wordCount = 32;
    using Words = std::array<std::uint64_t, wordCount>;

    std::uint64_t sequence = 0;
    std::uint64_t seal = 0;
    std::int64_t time = 0; // ns of the host clock
    FlightKind kind{};
    std::uint8_t subjectLength = 0;
    std::uint8_t textLength = 0;
    std::uint8_t queueLength = 0;
    std::uint32_t unused = 0;
    std::uint64_t request = 0;
    std::array<double, 3> numbers{};
    std::array<char, 16> queue{};
    std::array<char, 176> text{}; // the subject, then the text

    /// Words that are used.
    std::size_t usedWords() const;
    std::uint64_t makeSeal() const;
};
static_assert(sizeof(FlightSlot) == FlightSlot::wordCount * sizeof(std::uint64_t));

/// Bytes of a subject and of a queue's label that are kept; the text gets what the subject leaves.
inline constexpr std::size_t longestFlightSubject = 88;

/// Cuts what is too long between characters. Allocates nothing.
FlightSlot encodeFlight(std::uint64_t sequence, dispatch::HostTime time, FlightKind kind,
                        std::string_view queue, const FlightNote& note) noexcept;

/// nullopt for a slot that was never used, or not as it was written.
std::optional<FlightRecord> decodeFlight(const FlightSlot& slot);

} // namespace orb
