// SPDX-License-Identifier: MIT
#include "bench/mirrorlab/Report.h"

#include <boost/json.hpp>

namespace mirrorlab {

namespace json = boost::json;

namespace {

template <typename Range, typename Convert>
json::array arrayOf(const Range& range, Convert convert) {
    json::array values;
    values.reserve(range.size());
    for (const auto& element : range) {
        values.push_back(convert(element));
    }
    return values;
}

json::array strings(const std::vector<std::string>& values) {
    return arrayOf(values, [](const std::string& value) { return json::value(value); });
}

json::value orNull(const std::optional<orbctl::FrameNumber>& frames) {
    return frames ? json::value(*frames) : json::value(nullptr);
}

json::object parametersJson(const RunParameters& run) {
    return {{"soundFiles", strings(run.soundFiles)},
            {"notices", strings(run.notices)},
            {"durationSeconds", run.durationSeconds},
            {"mode", run.mode == RunMode::realTime ? "realTime" : "virtualTime"},
            {"latencySeconds", run.latencySeconds},
            {"chunkFrames", run.chunkFrames},
            {"ioFrames", run.ioFrames}};
}

json::value pointJson(const orbctl::LatencySeries::Point& point) {
    return json::object{
        {"timeSeconds", point.timeSeconds}, {"min", point.least}, {"max", point.most}, {"mean", point.mean}};
}

json::object latencyJson(const orbctl::LatencySeries& series) {
    const orbctl::LatencySeries::Point& whole = series.whole();
    const auto known = [&](double value) {
        return whole.values > 0 ? json::value(value) : json::value(nullptr);
    };
    return {{"values", whole.values},
            {"min", known(whole.least)},
            {"max", known(whole.most)},
            {"mean", known(whole.mean)},
            {"points", arrayOf(series.points(), pointJson)}};
}

json::value segmentJson(const orbctl::Segment& segment) {
    return json::object{{"fileFrame", segment.fileFrame},
                        {"sourceFrame", segment.sourceFrame},
                        {"frames", segment.frames},
                        {"offsetFrames", segment.offset()}};
}

json::value breakJson(const orbctl::Break& record) {
    return json::object{{"kind", nameOf(record.kind)},
                        {"fileFrame", record.fileFrame},
                        {"fileFrames", record.fileFrames},
                        {"nonSilentFrames", record.nonSilentFrames},
                        {"sourceFrame", record.sourceFrame},
                        {"sourceJump", record.sourceJump},
                        {"sourceFramesLost", record.sourceFramesLost}};
}

json::value receiverJson(const orbctl::ReceiverReport& receiver) {
    const orbctl::StreamResult& stream = receiver.result.stream;
    const orbctl::ComparisonResult& against = receiver.result.againstFirst;
    return json::object{
        {"name", receiver.name},
        {"file", receiver.file},
        {"frames", stream.frames},
        {"matchedFrames", stream.matchedFrames},
        {"mismatchedFrames", stream.mismatchedFrames()},
        {"gapFrames", stream.gapFrames},
        {"unmatchedFrames", stream.unmatchedFrames},
        {"leadingSilentFrames", stream.leadingSilentFrames},
        {"tailFrames", stream.tailFrames},
        {"sourceFramesLostAtStart", stream.sourceFramesLostAtStart},
        {"sourceFramesLostBetween", stream.sourceFramesLostBetween},
        {"sourceFramesLostAtEnd", stream.sourceFramesLostAtEnd},
        {"duplicatedFrames", stream.duplicatedFrames},
        {"sourceEndReached", stream.sourceEndReached},
        {"bitIdentical", bitIdentical(stream)},
        {"gaps", receiver.gaps},
        {"overlaps", receiver.overlaps},
        {"lateBuffers", receiver.lateBuffers},
        {"identicalToFirst", against.identical()},
        {"differingFrames", against.differingFrames},
        {"firstDifference", orNull(against.firstDifference)},
        {"offsetToFirstFrames", orNull(receiver.result.offsetToFirst)},
        {"segmentCount", stream.segmentCount},
        {"segments", arrayOf(stream.segments, segmentJson)},
        {"breakCount", stream.breakCount},
        {"breaks", arrayOf(stream.breaks, breakJson)},
        {"heardLatencies", arrayOf(receiver.heardLatencies, [](const orbctl::HeardLatency& heard) {
             return json::value(json::object{{"timeSeconds", heard.timeSeconds}, {"seconds", heard.seconds}});
         })}};
}

} // namespace

json::object Report::toJson() const {
    const orbctl::Verdict judged = verdict();
    return {
        {"perfect", judged.perfect},
        {"reasons", strings(judged.reasons)},
        {"parameters", parametersJson(parameters)},
        {"speedFactor", speedFactor},
        {"lateCycles", lateCycles},
        {"worstLatenessSeconds", worstLatenessSeconds},
        {"playerUnderruns", playerUnderruns},
        {"resynchronisations", arrayOf(resynchronisations,
                                       [](const orbctl::Resynchronisation& event) {
                                           return json::value(json::object{{"timeSeconds", event.timeSeconds},
                                                                           {"reason", event.reason}});
                                       })},
        {"effectiveLatency", latencyJson(effectiveLatency)},
        {"receivers", arrayOf(receivers, receiverJson)}};
}

} // namespace mirrorlab
