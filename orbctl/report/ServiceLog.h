// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Clock.h"

#include <optional>
#include <string>
#include <vector>

namespace orbctl {

/// What the lines of a service's log tell about a job. A plain value.
struct ServiceLog {
    /// A line as it was written; one without a date of its own has that of the line before.
    struct Line {
        dispatch::Date time;
        int level = 0;
        std::string text;
        bool plotted = false; // its figures are in one of the series
    };

    struct Value {
        dispatch::Date time;
        double seconds = 0;
    };

    struct Reset {
        dispatch::Date time;
        std::string reason;
    };

    std::vector<Line> lines;
    std::vector<Value> effectiveLatency; // of chunks, as they were fed
    std::vector<Value> buffered;         // sound that lay ahead of the render clock
    std::vector<Reset> resynchronisations;
    std::optional<double> latency; // set in the engine, s

    /// When the first frame of the first chunk that was not dropped again is heard; as exact as the
    /// line's date.
    std::optional<dispatch::Date> firstChunkHeard;
};

/// Lines before the first date are left out, and so are figures that are no numbers.
ServiceLog readServiceLog(const std::vector<std::string>& lines);

} // namespace orbctl
