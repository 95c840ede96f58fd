// SPDX-License-Identifier: MIT
#include "orbctl/report/ReportContents.h"

#include "orbctl/sound/SoundFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace orbctl {
namespace {

/// In force when the log does not tell, s.
constexpr double defaultLatency = 2.0;

/// Draws the outline of what is read through it.
class OutlinedReader final : public FrameReader {
  public:
    OutlinedReader(std::unique_ptr<FrameReader> reader, Envelope& envelope)
        : reader_(std::move(reader)), envelope_(envelope) {
        envelope_ = Envelope();
    }

    std::size_t read(std::span<float> interleaved) override {
        const std::size_t frames = reader_->read(interleaved);
        envelope_.add(interleaved.first(frames * channelCount));
        return frames;
    }

  private:
    const std::unique_ptr<FrameReader> reader_;
    Envelope& envelope_;
};

/// Stands for a source that cannot be read again.
class NoSound final : public FrameReader {
  public:
    std::size_t read(std::span<float>) override { return 0; }
};

OpenReader sourceOpener(const ReportData& data, Outline* track) {
    if (track == nullptr)
        return [] { return std::make_unique<NoSound>(); };
    return [options = data.source, track] {
        return std::make_unique<OutlinedReader>(SourceSound::open(options), track->envelope);
    };
}

/// The receivers whose recordings can be read; the others are told.
std::vector<ReportReceiver> usableReceivers(const ReportData& data, std::vector<std::string>& unusable) {
    std::vector<ReportReceiver> usable;
    for (const ReportReceiver& receiver : data.receivers) {
        try {
            const RecordingFile probe(receiver.file);
            usable.push_back(receiver);
        } catch (const SoundFileError& error) {
            unusable.push_back(fmt::format("{}: {}", receiver.name, error.what()));
        }
    }
    return usable;
}

void readThrough(FrameReader& reader) {
    std::vector<float> block(std::size_t{8192} * channelCount);
    while (reader.read(block) > 0) {
    }
}

/// Outlines go into the tracks, which the source's, if there is one, leads.
std::vector<ReceiverResult> compare(const ReportData& data, const std::vector<ReportReceiver>& usable,
                                    std::vector<Outline>& tracks) {
    const bool hasSource = tracks.size() > usable.size();
    std::vector<OpenReader> recordings;
    recordings.reserve(usable.size());
    Outline* track = tracks.data() + (hasSource ? 1 : 0);
    for (const ReportReceiver& receiver : usable)
        recordings.emplace_back([file = receiver.file, to = track++] {
            return std::make_unique<OutlinedReader>(std::make_unique<RecordingFile>(file), to->envelope);
        });
    const OpenReader source = sourceOpener(data, hasSource ? tracks.data() : nullptr);
    if (recordings.empty())
        readThrough(*source());
    return analyseReceivers(source, recordings, {}, hasSource ? data.recordingEnd : RecordingEnd::early);
}

void compareSounds(ReportContents& contents, const ReportData& data) {
    const auto usable = usableReceivers(data, contents.unusable);
    contents.hasSource = !data.source.files.empty();
    if (contents.hasSource)
        contents.tracks.push_back({.name = "Source", .envelope = Envelope(), .firstFrame = 0});
    for (const ReportReceiver& receiver : usable)
        contents.tracks.push_back({.name = receiver.name, .envelope = Envelope(), .firstFrame = 0});

    std::vector<ReceiverResult> results = compare(data, usable, contents.tracks);
    for (std::size_t index = 0; index < usable.size(); ++index)
        contents.receivers.push_back({.name = usable[index].name,
                                      .file = usable[index].file.string(),
                                      .result = std::move(results[index]),
                                      .heardLatencies = {}});
    if (contents.hasSource && !results.empty() && !contents.receivers.front().result.stream.segments.empty())
        contents.tracks.front().firstFrame =
            contents.receivers.front().result.stream.segments.front().offset();
}

/// The recordings tell when their first sound is heard, counted from their begin, and the log tells it as a
/// date.
void placeOnTimeLine(ReportContents& contents, const ReportData& data) {
    const auto recording =
        std::ranges::find_if(contents.tracks.begin() + (contents.hasSource ? 1 : 0), contents.tracks.end(),
                             [](const Outline& track) { return track.envelope.firstSound().has_value(); });
    contents.placed = recording != contents.tracks.end() && contents.log.firstChunkHeard;
    if (contents.placed) {
        const auto silent = static_cast<double>(*recording->envelope.firstSound()) / framesPerSecond;
        contents.origin = *contents.log.firstChunkHeard - dispatch::toNanoseconds(silent);
        return;
    }
    std::vector<dispatch::Date> dates;
    if (!contents.log.lines.empty())
        dates.push_back(contents.log.lines.front().time);
    for (const ReportEvent& event : data.events)
        dates.push_back(event.time);
    if (!dates.empty())
        contents.origin = *std::ranges::min_element(dates);
}

/// Without a source, what can be said is whether all receivers heard the same.
Verdict comparisonVerdict(const std::vector<ReceiverReport>& receivers) {
    Verdict verdict;
    for (const ReceiverReport& receiver : receivers)
        if (const ComparisonResult& against = receiver.result.againstFirst; !against.identical())
            verdict.reasons.push_back(fmt::format("{}: differs from {} in {} frames", receiver.name,
                                                  receivers.front().name, against.differingFrames));
    return verdict;
}

void reachVerdict(ReportContents& contents) {
    for (const ServiceLog::Reset& reset : contents.log.resynchronisations)
        contents.resynchronisations.push_back(
            {.timeSeconds = contents.secondsAt(reset.time), .reason = reset.reason});
    contents.verdict = contents.hasSource
                           ? judge({.receivers = contents.receivers,
                                    .resynchronisations = contents.resynchronisations,
                                    .latencySeconds = contents.log.latency.value_or(defaultLatency)})
                           : comparisonVerdict(contents.receivers);
    std::ranges::copy(contents.unusable, std::back_inserter(contents.verdict.reasons));
    contents.verdict.perfect = contents.verdict.reasons.empty() && !contents.receivers.empty();
}

} // namespace

ReportContents workOut(const ReportData& data) {
    ReportContents contents;
    contents.log = readServiceLog(data.logLines);
    compareSounds(contents, data);
    placeOnTimeLine(contents, data);
    reachVerdict(contents);
    return contents;
}

} // namespace orbctl
