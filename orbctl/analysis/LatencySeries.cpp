// SPDX-License-Identifier: MIT
#include "orbctl/analysis/LatencySeries.h"

#include <algorithm>

namespace orbctl {

namespace {

void merge(LatencySeries::Point& into, const LatencySeries::Point& other) {
    if (into.values == 0) {
        into = other;
        return;
    }
    into.least = std::min(into.least, other.least);
    into.most = std::max(into.most, other.most);
    into.values += other.values;
    into.mean +=
        (other.mean - into.mean) * static_cast<double>(other.values) / static_cast<double>(into.values);
}

} // namespace

LatencySeries::LatencySeries(std::size_t mostPoints)
    : mostPoints_(std::max<std::size_t>(mostPoints / 2, 1) * 2) {}

void LatencySeries::add(double timeSeconds, double valueSeconds) {
    const Point value{timeSeconds, valueSeconds, valueSeconds, valueSeconds, 1};
    merge(whole_, value);
    if (!points_.empty() && points_.back().values < valuesPerPoint_) {
        merge(points_.back(), value);
        return;
    }
    if (points_.size() == mostPoints_) {
        mergeNeighbours();
    }
    points_.push_back(value);
}

void LatencySeries::mergeNeighbours() {
    for (std::size_t i = 0; i < points_.size() / 2; ++i) {
        Point merged = points_[2 * i];
        merge(merged, points_[2 * i + 1]);
        points_[i] = merged;
    }
    points_.resize(points_.size() / 2);
    valuesPerPoint_ *= 2;
}

} // namespace orbctl
