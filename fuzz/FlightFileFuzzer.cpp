// SPDX-License-Identifier: MIT
// Flight recordings: read as they are, and once more with the magic, the counts and all seals made good, so
// that what lies behind them is reached as well. Each record that is read is written so that it reads back
// the same; whatever is in a recording, its control half and its records are within bounds.
#include "ORBRouteService/log/flight/FlightEvent.h"
#include "ORBRouteService/log/flight/FlightMemory.h"
#include "fuzz/Fuzzing.h"

#include <cmath>
#include <cstring>
#include <string>

namespace {

using namespace orb;

void requireSameAgain(const FlightRecord& record) {
    const FlightNote note{
        .subject = record.subject, .text = record.text, .request = record.request, .numbers = record.numbers};
    const auto again =
        decodeFlight(encodeFlight(record.sequence, record.time, record.kind, record.queue, note));
    ORB_CHECK(again == record, "record {} reads back otherwise", record.sequence);
}

void readAll(std::string_view bytes) {
    const auto recording =
        fuzz::parsed<FlightFileError>([&] { return FlightRecording::parse(bytes, "flight"); });
    if (!recording) {
        return;
    }
    const std::size_t slots = bytes.size() / sizeof(FlightSlot) - 1;
    ORB_CHECK(recording->records.size() + recording->unreadable <= slots, "{} records of {} slots",
              recording->records.size(), slots);
    ORB_CHECK(std::ranges::is_sorted(recording->records, {}, &FlightRecord::time), "out of order");
    for (const FlightRecord& record : recording->records) {
        static_cast<void>(recording->dateOf(record.time)); // does not overflow
        ORB_CHECK(!nameOf(record.kind).empty(), "a kind without a name");
        ORB_CHECK(std::ranges::all_of(record.numbers, [](double number) { return std::isfinite(number); }),
                  "record {} has no numbers", record.sequence);
        requireSameAgain(record);
    }
    ORB_CHECK(controlEvents(*recording).size() <= recording->records.size(), "events out of nothing");
}

/// With a header that fits, and seals that are right.
std::string madeGood(std::string_view bytes) {
    FlightHeader header;
    std::string good(bytes.substr(0, bytes.size() / sizeof(FlightSlot) * sizeof(FlightSlot)));
    if (good.empty()) {
        return good;
    }
    std::memcpy(&header, good.data(), sizeof header);
    header.magic = FlightHeader::expectedMagic;
    header.version = FlightHeader::expectedVersion;
    header.slotSize = sizeof(FlightSlot);
    header.slotCount = static_cast<std::uint32_t>(good.size() / sizeof(FlightSlot) - 1);
    std::memcpy(good.data(), &header, sizeof header);
    for (std::size_t place = sizeof header; place < good.size(); place += sizeof(FlightSlot)) {
        FlightSlot slot;
        std::memcpy(&slot, good.data() + place, sizeof slot);
        slot.seal = slot.makeSeal();
        std::memcpy(good.data() + place, &slot, sizeof slot);
    }
    return good;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes = fuzz::textOf(data, size);
    readAll(bytes);
    readAll(madeGood(bytes));
    return 0;
}
