// SPDX-License-Identifier: MIT
#pragma once

#include "orbctl/analysis/Envelope.h"
#include "orbctl/analysis/Verdict.h"
#include "orbctl/report/Report.h"
#include "orbctl/report/ServiceLog.h"

namespace orbctl {

/// The outline of one sound on the time line.
struct Outline {
    std::string name;
    Envelope envelope;
    FrameNumber firstFrame = 0; // of the recordings, where the sound's first one stands
};

/// What the page shows, worked out. Its time line is that of the recordings: 0 s is their first frame. A
/// plain value.
struct ReportContents {
    ServiceLog log;
    std::vector<Outline> tracks; // the source, if there is one, then the usable receivers
    bool hasSource = false;
    std::vector<ReceiverReport> receivers; // usable ones
    std::vector<std::string> unusable;     // "<path>: <reason>" of the others
    std::vector<Resynchronisation> resynchronisations;
    Verdict verdict;

    /// When the first frame of the recordings was due; when neither the recordings nor the log tell, the
    /// first date there is, and `placed` is false.
    dispatch::Date origin;
    bool placed = false;

    double secondsAt(dispatch::Date time) const { return dispatch::toSeconds(time - origin); }
};

/// Reads all files. Throws SoundFileError for the source.
ReportContents workOut(const ReportData& data);

} // namespace orbctl
