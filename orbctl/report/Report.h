// SPDX-License-Identifier: MIT
#pragma once

#include "orbctl/analysis/StreamAnalysis.h"
#include "orbctl/sound/SourceSound.h"

#include "platform/dispatch/Clock.h"

#include <filesystem>
#include <string>
#include <vector>

namespace orbctl {

/// A receiver that took part, and where its sound was stored.
struct ReportReceiver {
    std::string name;
    std::filesystem::path file;
};

/// Something that the parent saw happen.
struct ReportEvent {
    dispatch::Date time;
    std::string text;
};

/// One line of what was asked for, such as "latency", "2.0 s".
struct ReportParameter {
    std::string name;
    std::string value;
};

/// What one job left behind. All texts may hold anything.
struct ReportData {
    std::string title = "orbctl play";

    /// What was played; no files: it cannot be read again, and the recordings are compared with each other.
    SourceSoundOptions source;

    /// Whether the recordings should hold the source to its end.
    RecordingEnd recordingEnd = RecordingEnd::withSource;

    /// All of one job, so that their recordings begin at the same instant.
    std::vector<ReportReceiver> receivers;

    std::vector<ReportParameter> parameters;
    std::vector<ReportEvent> events;

    /// Of the job's service, as it wrote them to its standard error.
    std::vector<std::string> logLines;
};

/// What the page says first.
struct ReportSummary {
    std::string headline;
    bool isPerfect = false; ///< every receiver played exactly the source, from its first frame to its last
};

/// Compares the recordings with the source and writes one page that needs nothing else: wave forms, latency,
/// buffered time, events, log and verdict on one time line. Blocks for a few seconds per hour of sound; reads
/// the files twice at most and keeps a few megabytes. Any thread.
///
/// A receiver whose file cannot be used is told on the page. Throws SoundFileError for the source and
/// std::system_error, naming the path, for the page.
ReportSummary writeReport(const ReportData& data, const std::filesystem::path& path);

} // namespace orbctl
