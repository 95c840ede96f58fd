// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/real/RealRealm.h"
#include "platform/foundation/TemporaryDirectory.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace bench {

inline double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::ranges::nth_element(values, middle);
    return *middle;
}

/// Real time, ns.
class Stopwatch {
  public:
    double nanoseconds() const {
        return static_cast<double>(realm_.clock().now().time_since_epoch().count());
    }

    template <typename Work>
    double time(Work work) const {
        const double begin = nanoseconds();
        work();
        benchmark::ClobberMemory();
        return nanoseconds() - begin;
    }

  private:
    dispatch::RealRealm realm_;
};

using foundation::TemporaryDirectory;

} // namespace bench
