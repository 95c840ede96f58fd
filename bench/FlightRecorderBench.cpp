// SPDX-License-Identifier: MIT
#include "ORBRouteService/log/flight/FlightRecorder.h"
#include "bench/BenchSupport.h"

#include <array>
#include <cstring>
#include <string>

// What it costs to record one thing, over what nobody can do without: reading the clock, and copying a slot
// into a ring of the same size. Both write a whole round by turns, so that what else the machine does falls
// on both alike, and the medians are compared. The aim is a ratio of at most 5, and 1 us.

namespace {

using bench::median;
using orb::FlightRecorder;
using orb::FlightSlot;

void recordOne(benchmark::State& state) {
    const dispatch::RealRealm realm;
    const bench::Stopwatch stopwatch;
    FlightRecorder recorder(realm.clock());
    std::vector<FlightSlot> ring(FlightRecorder::slotCount);
    const std::string text(static_cast<std::size_t>(state.range(0)), 't');
    FlightSlot slot;
    std::vector<double> recorded;
    std::vector<double> copied;
    for (auto _ : state) {
        recorded.push_back(stopwatch.time([&] {
            for (std::uint32_t count = 0; count < FlightRecorder::slotCount; ++count)
                recorder.record(orb::FlightKind::reset, {.text = text, .numbers = {1}});
        }));
        copied.push_back(stopwatch.time([&] {
            for (FlightSlot& place : ring) {
                slot.time = realm.clock().now().time_since_epoch().count();
                std::memcpy(&place, &slot, sizeof slot);
                benchmark::ClobberMemory();
            }
        }));
        state.SetIterationTime(recorded.back() * 1e-9);
    }
    const double perRecord = median(recorded) / FlightRecorder::slotCount;
    const double atLeast = median(copied) / FlightRecorder::slotCount;
    state.counters["recordNanoseconds"] = perRecord;
    state.counters["floorNanoseconds"] = atLeast;
    state.counters["ratio"] = perRecord / atLeast;
}
BENCHMARK(recordOne)->ArgName("textBytes")->Arg(8)->Arg(64)->Arg(176)->UseManualTime();

/// Where there is no recorder, as in the parent.
void recordNothing(benchmark::State& state) {
    for (auto _ : state)
        orb::recordFlight(orb::FlightKind::reset, {.text = "nobody keeps it"});
}
BENCHMARK(recordNothing);

} // namespace
