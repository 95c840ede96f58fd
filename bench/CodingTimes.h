// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/ipc/IPCMessage.h"
#include "bench/BenchSupport.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace bench {

/// Encoding and decoding one envelope, and copying the coded bytes; ns, medians over batches.
struct CodingTimes {
    double encode = 0;
    double decode = 0;
    double copy = 0;
};

inline CodingTimes timeCoding(const orb::IPCMessage& envelope) {
    const Stopwatch stopwatch;
    const std::string encoded = foundation::encodeJSON(envelope);
    std::string copied = encoded;
    const int batch = static_cast<int>(std::clamp<std::size_t>(1'000'000 / encoded.size(), 4, 1000));
    const auto perMessage = [&](auto work) {
        return stopwatch.time([&] {
            for (int count = 0; count < batch; ++count)
                work();
        }) / batch;
    };
    std::vector<double> encodes, decodes, copies;
    for (int round = 0; round < 50; ++round) {
        encodes.push_back(perMessage([&] { benchmark::DoNotOptimize(foundation::encodeJSON(envelope)); }));
        decodes.push_back(
            perMessage([&] { benchmark::DoNotOptimize(foundation::decodeJSON<orb::IPCMessage>(encoded)); }));
        copies.push_back(perMessage([&] {
            std::memcpy(copied.data(), encoded.data(), encoded.size());
            benchmark::ClobberMemory();
        }));
    }
    return {median(encodes), median(decodes), median(copies)};
}

} // namespace bench
