// SPDX-License-Identifier: MIT
#pragma once

#include "orbctl/report/ReportContents.h"

#include <ostream>
#include <string>

namespace orbctl {

/// The page's files, as they were when the program was built.
struct PageAssets {
    static std::string_view plotScript(); // the plotting library
    static std::string_view plotStyle();
    static std::string_view script();
    static std::string_view style();
};

/// What the page's script draws, as JSON that may stand inside an HTML script element: no "<" in it. Times
/// are seconds of the contents' time line.
///
///     end            where the time line ends
///     latency        [[time, s], ...]: effective latency of chunks
///     latencySet     s, or null
///     buffered       [[time, s], ...]
///     peak           what a level of 127 stands for
///     tracks[]       name, source (whether it is), start, binSeconds, levels: Base64 of a least and a
///     greatest level, -127 to 127,
///                    one signed byte each, per bin
///     marks[]        time, lane ("event", "log" or "fault"), level (of the log), text
std::string chartData(const ReportContents& contents, const std::vector<ReportEvent>& events);

/// Writes the whole page.
void writePage(std::ostream& out, const ReportData& data, const ReportContents& contents);

} // namespace orbctl
