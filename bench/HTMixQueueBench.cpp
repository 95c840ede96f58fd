// SPDX-License-Identifier: MIT
#include "ORBRouteService/audio/HTMixQueue.h"
#include "platform/dispatch/real/RealRealm.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <vector>

// What the queue costs over the work that nobody can do without: add the cycle's frames into the ring, add
// them from there into the reader's buffer, clear them. Both sides go through a whole ring by turns, so that
// what else the machine does falls on both alike, and the medians are compared. The aim is a ratio of at
// most 1.5.

namespace {

constexpr std::uint32_t channels = 2;
constexpr std::uint32_t cycleFrames = 512;
constexpr std::uint32_t ringFrames = 16384;
constexpr std::uint32_t cyclesPerRound = ringFrames / cycleFrames;
constexpr double rate = 44100;

class Queue {
  public:
    void round(const lmn::LMNBuffer& captured, lmn::LMNBuffer& mix) {
        for (std::uint32_t cycle = 0; cycle < cyclesPerRound; ++cycle, sampleTime_ += cycleFrames) {
            queue_.write(captured, sampleTime_);
            queue_.read(mix);
        }
    }

  private:
    orb::HTMixQueue queue_{channels, rate, ringFrames};
    std::int64_t sampleTime_ = 0;
};

class Floor {
  public:
    void round(const lmn::LMNBuffer& captured, lmn::LMNBuffer& mix) {
        constexpr std::size_t count = std::size_t{cycleFrames} * channels;
        for (std::size_t cycle = 0; cycle < cyclesPerRound; ++cycle) {
            const std::span<float> place = std::span(memory_).subspan(cycle * count, count);
            lmn::mixInto(place, {captured.samples(), count});
            lmn::mixInto({mix.samples(), count}, place);
            std::ranges::fill(place, 0.0F);
        }
    }

  private:
    std::vector<float> memory_ = std::vector<float>(std::size_t{ringFrames} * channels);
};

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::ranges::nth_element(values, middle);
    return *middle;
}

/// The argument: whether there is any sound to carry.
void writeAndReadOneCycle(benchmark::State& state) {
    const dispatch::RealRealm realm;
    lmn::LMNBuffer captured(channels, cycleFrames, rate);
    std::fill_n(captured.samples(), cycleFrames * channels, state.range(0) != 0 ? 0.25F : 0.0F);
    lmn::LMNBuffer mix(channels, cycleFrames, rate);
    Queue queue;
    Floor floor;
    std::vector<double> queueSeconds;
    std::vector<double> floorSeconds;
    const auto time = [&](auto& side) {
        mix.mute();
        const dispatch::HostTime begin = realm.clock().now();
        side.round(captured, mix);
        benchmark::ClobberMemory();
        return dispatch::toSeconds(realm.clock().now() - begin) / cyclesPerRound;
    };
    for (auto _ : state) {
        queueSeconds.push_back(time(queue));
        floorSeconds.push_back(time(floor));
        state.SetIterationTime(queueSeconds.back() * cyclesPerRound);
    }
    const double perCycle = median(queueSeconds);
    const double atLeast = median(floorSeconds);
    state.counters["queueNanoseconds"] = perCycle * 1e9;
    state.counters["floorNanoseconds"] = atLeast * 1e9;
    state.counters["ratio"] = perCycle / atLeast;
}
BENCHMARK(writeAndReadOneCycle)->ArgName("sound")->Arg(1)->Arg(0)->UseManualTime();

} // namespace
