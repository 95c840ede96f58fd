// SPDX-License-Identifier: MIT
#include "orbctl/commands/Commands.h"
#include "orbctl/job/UsageError.h"

#include "ORBRouteService/log/flight/FlightDirectory.h"
#include "ORBRouteService/log/flight/FlightRecording.h"

#include "platform/foundation/StandardPaths.h"

#include <fmt/format.h>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace orbctl {
namespace {

namespace fs = std::filesystem;

struct Options {
    std::string job;
    fs::path output;
    bool json = false;
};

/// A service's recording, as it was copied.
struct Flight {
    orb::FlightDirectory::Ring ring;
    std::string bytes;
    orb::FlightRecording recording;
};

/// nullopt when its process has ended and taken it away meanwhile, or for what is no recording.
std::optional<Flight> readFlight(orb::FlightDirectory::Ring ring) {
    try {
        std::string bytes = orb::readFlightFile(ring.path);
        orb::FlightRecording recording = orb::FlightRecording::parse(bytes, ring.path);
        return Flight{std::move(ring), std::move(bytes), std::move(recording)};
    } catch (const orb::FlightFileError&) {
        return std::nullopt;
    }
}

/// Whether the recording is of the job that a person means by this: a process, or a device that it plays from
/// or was asked to play to.
bool isOf(const std::string& job, const orb::FlightRecording& recording) {
    using orb::FlightKind;
    return job.empty() || job == std::to_string(recording.process) ||
           std::ranges::any_of(recording.records, [&](const orb::FlightRecord& record) {
               const bool hasDevice =
                   record.kind == FlightKind::launched || record.kind == FlightKind::deviceReceived;
               return hasDevice && (record.subject == job || record.text == job);
           });
}

std::vector<Flight> findFlights(const std::string& job) {
    std::vector<Flight> flights;
    for (orb::FlightDirectory::Ring& ring : orb::FlightDirectory(foundation::standardRuntimePath()).rings()) {
        if (auto flight = readFlight(std::move(ring)); flight && isOf(job, flight->recording)) {
            flights.push_back(std::move(*flight));
        }
    }
    return flights;
}

int dump(Console& console, const Options& options) {
    const std::vector<Flight> flights = findFlights(options.job);
    if (flights.empty()) {
        throw UsageError(options.job.empty() ? std::string("no service runs, and none has left a recording")
                                             : fmt::format("no recording is of \"{}\"", options.job));
    }
    if (!options.output.empty() && flights.size() > 1) {
        throw UsageError(
            fmt::format("{} recordings do not go into one file: say which is meant", flights.size()));
    }
    for (const Flight& flight : flights) {
        const fs::path file =
            options.output.empty() ? fs::path(flight.ring.path.stem().string() + ".flight") : options.output;
        orb::writeFlightFile(file, flight.bytes);
        const orb::FlightRecording& recording = flight.recording;
        const boost::json::object object{{"file", file.string()},
                                         {"pid", recording.process},
                                         {"running", flight.ring.isOfLivingProcess},
                                         {"records", recording.records.size()}};
        console.result(options.json
                           ? boost::json::serialize(object)
                           : fmt::format("{}: process {}, {}, {} records", file.string(), recording.process,
                                         flight.ring.isOfLivingProcess ? "running" : "ended",
                                         recording.records.size()));
    }
    return playedStatus;
}

} // namespace

void addDump(CLI::App& app, Action& action) {
    const auto options = std::make_shared<Options>();
    CLI::App& command = *app.add_subcommand("dump", "Copy the flight recordings of services");
    command.footer(
        "The services need not answer, nor even live: those that were killed or have failed left\n"
        "theirs. Without --output, each goes into a file of its own in the current directory.");
    command.add_option("job", options->job,
                       "Process of the service, name or UID of a device; without it, all there are");
    command.add_option("--output", options->output, "File to be written");
    command.add_flag("--json", options->json, "One JSON object for each");
    command.callback(
        [options, &action] { action = [options](Console& console) { return dump(console, *options); }; });
}

} // namespace orbctl
