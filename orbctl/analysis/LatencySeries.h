// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <vector>

namespace orbctl {

/// One value over time, kept in bounded memory however long the run: when the points become too many,
/// neighbours are merged. Extremes are never lost, in no point and not in the whole. One thread.
class LatencySeries {
  public:
    /// The values of a stretch of time.
    struct Point {
        double timeSeconds = 0.0; // of the first value
        double least = 0.0;
        double most = 0.0;
        double mean = 0.0;
        std::size_t values = 0;
    };

    /// `mostPoints` is at least 2 and is rounded down to an even number.
    explicit LatencySeries(std::size_t mostPoints = 512);

    /// Times do not decrease. Seconds, both.
    void add(double timeSeconds, double valueSeconds);

    const std::vector<Point>& points() const { return points_; }

    /// All values together; `values` is 0 when none was added.
    const Point& whole() const { return whole_; }

  private:
    void mergeNeighbours();

    std::size_t mostPoints_;
    std::size_t valuesPerPoint_ = 1;
    std::vector<Point> points_;
    Point whole_;
};

} // namespace orbctl
