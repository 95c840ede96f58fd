// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/real/RealRealm.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
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

/// A directory of a benchmark's own, gone with it.
class TemporaryDirectory {
  public:
    TemporaryDirectory() {
        std::string pattern = (std::filesystem::temp_directory_path() / "bench-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
            throw std::system_error(errno, std::generic_category(), pattern);
        path_ = pattern;
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

} // namespace bench
