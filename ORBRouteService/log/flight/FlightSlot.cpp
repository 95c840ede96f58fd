// SPDX-License-Identifier: MIT
#include "ORBRouteService/log/flight/FlightSlot.h"

#include <unistr.h>

#include <algorithm>
#include <bit>
#include <cmath>

namespace orb {
namespace {

constexpr std::size_t wordSize = sizeof(std::uint64_t);
constexpr std::size_t wordsBeforeText = offsetof(FlightSlot, text) / wordSize;

/// Times from a file are added to one another; within these bounds, some 36 years either way, nothing wraps.
constexpr std::int64_t furthestTime = std::int64_t{1} << 60;

/// As much of the text as fits, without half a character at its end.
std::string_view cut(std::string_view text, std::size_t longest) {
    if (text.size() <= longest)
        return text;
    std::size_t end = longest;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
        --end;
    return text.substr(0, end);
}

bool isControl(ucs4_t character) { return character < 0x20 || (character >= 0x7F && character < 0xA0); }

/// What may be written to a terminal and into JSON; no longer than before.
std::string printable(std::string_view bytes) {
    std::string text;
    while (!bytes.empty()) {
        ucs4_t character = 0;
        const int length =
            u8_mbtoucr(&character, reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
        const std::size_t taken = static_cast<std::size_t>(std::max(length, 1));
        if (length < 0)
            text += '?';
        else if (isControl(character))
            text += ' ';
        else
            text += bytes.substr(0, taken);
        bytes.remove_prefix(taken);
    }
    return text;
}

} // namespace

std::size_t FlightSlot::usedWords() const {
    const std::size_t textBytes = std::size_t{subjectLength} + textLength;
    return std::min(wordsBeforeText + (textBytes + wordSize - 1) / wordSize, wordCount);
}

std::uint64_t FlightSlot::makeSeal() const {
    const auto words = std::bit_cast<Words>(*this);
    std::uint64_t hash = 0x9E3779B97F4A7C15;
    for (std::size_t index = 0; index < usedWords(); ++index) {
        if (index == offsetof(FlightSlot, seal) / wordSize)
            continue;
        hash = (hash ^ words[index]) * 0xFF51AFD7ED558CCD;
        hash ^= hash >> 32;
    }
    return hash;
}

FlightSlot encodeFlight(std::uint64_t sequence, dispatch::HostTime time, FlightKind kind,
                        std::string_view queue, const FlightNote& note) noexcept {
    FlightSlot slot;
    const std::string_view label = cut(queue, slot.queue.size());
    const std::string_view subject = cut(note.subject, longestFlightSubject);
    const std::string_view text = cut(note.text, slot.text.size() - subject.size());
    slot.sequence = sequence;
    slot.time = time.time_since_epoch().count();
    slot.kind = kind;
    slot.subjectLength = static_cast<std::uint8_t>(subject.size());
    slot.textLength = static_cast<std::uint8_t>(text.size());
    slot.queueLength = static_cast<std::uint8_t>(label.size());
    slot.request = note.request;
    slot.numbers = note.numbers;
    std::ranges::copy(label, slot.queue.begin());
    std::ranges::copy(text, std::ranges::copy(subject, slot.text.begin()).out);
    slot.seal = slot.makeSeal();
    return slot;
}

std::optional<FlightRecord> decodeFlight(const FlightSlot& slot) {
    const bool isKnown = slot.kind >= FlightKind{1} && slot.kind <= FlightKind{lastFlightKind};
    const bool fits = slot.subjectLength <= longestFlightSubject && slot.queueLength <= slot.queue.size() &&
                      slot.subjectLength + std::size_t{slot.textLength} <= slot.text.size();
    const bool isInTime = slot.time > -furthestTime && slot.time < furthestTime;
    if (slot.sequence == 0 || !isKnown || !fits || !isInTime || slot.seal != slot.makeSeal())
        return std::nullopt;
    FlightRecord record{.sequence = slot.sequence,
                        .time = dispatch::HostTime(dispatch::Nanoseconds(slot.time)),
                        .kind = slot.kind,
                        .request = slot.request,
                        .numbers = slot.numbers,
                        .queue = printable({slot.queue.data(), slot.queueLength}),
                        .subject = printable({slot.text.data(), slot.subjectLength}),
                        .text = printable({slot.text.data() + slot.subjectLength, slot.textLength})};
    for (double& number : record.numbers) {
        if (!std::isfinite(number))
            number = 0;
    }
    return record;
}

} // namespace orb
