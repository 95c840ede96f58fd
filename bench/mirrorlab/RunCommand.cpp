// SPDX-License-Identifier: MIT
#include "bench/mirrorlab/RunCommand.h"

#include "bench/mirrorlab/Lab.h"
#include "bench/mirrorlab/PlayCommand.h"
#include "orbctl/report/Report.h"
#include "orbctl/sound/SourceSound.h"

#include "platform/airplay/embedded/ReceiversFile.h"
#include "platform/dispatch/real/RealRealm.h"
#include "platform/dispatch/virtual/VirtualRealm.h"
#include "platform/lmn/LMNLogWriter.h"

#include <fmt/format.h>
#include <boost/asio/signal_set.hpp>
#include <boost/json/serialize.hpp>

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace mirrorlab {
namespace {

using namespace std::chrono_literals;

/// Virtual time between two lines of progress, and the longest that a run may take beyond its sound.
constexpr auto virtualStep = 10min;
constexpr auto longestRun = std::chrono::hours(24 * 365);

class File {
  public:
    explicit File(const std::filesystem::path& path)
        : descriptor_(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644)) {
        if (descriptor_ < 0)
            throw std::system_error(errno, std::generic_category(), path.string());
    }
    ~File() { ::close(descriptor_); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    int descriptor() const { return descriptor_; }

  private:
    const int descriptor_;
};

/// `receivers`, if this run can be judged by them; throws airplay::ReceiversFileError otherwise.
std::vector<airplay::ReceiverEntry> usable(std::vector<airplay::ReceiverEntry> receivers,
                                           const LabOptions& options) {
    const std::string path = options.receiversFile->string();
    if (receivers.empty())
        throw airplay::ReceiversFileError(path + ": names no receiver");
    for (const airplay::ReceiverEntry& entry : receivers)
        if (options.keepRecordings && !entry.file)
            throw airplay::ReceiversFileError(fmt::format(
                "{}: \"{}\" has no file, and this run compares recordings", path, entry.description.name));
    return receivers;
}

std::vector<airplay::ReceiverEntry> receiversOf(const LabOptions& options) {
    if (options.receiversFile)
        return usable(airplay::ReceiversFile::read(*options.receiversFile), options);
    const auto entry = [&](const char* name, const char* id, const char* file) {
        airplay::ReceiverEntry made;
        made.description.name = name;
        made.description.identifier = id;
        made.file = options.output / file;
        return made;
    };
    return {entry("Kitchen", "A1:B2:C3:D4:E5:F6", "kitchen.wav"),
            entry("Living room", "A1:B2:C3:D4:E5:F7", "living-room.wav")};
}

/// Checks what can be checked before anything is played.
void checkSound(const LabOptions& options) { orbctl::SourceSound::open({.files = options.soundFiles}); }

void showProgress(Lab& lab, double elapsed) {
    const bool terminal = ::isatty(STDERR_FILENO) == 1;
    fmt::print(stderr, "{}{:.0f} s of sound in {:.0f} s, {} late cycles{}", terminal ? "\r" : "",
               lab.progress(), elapsed, lab.lateCycles(), terminal ? "   " : "\n");
    std::fflush(stderr);
}

/// Between two lines of progress, real time.
dispatch::Nanoseconds progressPeriod() { return ::isatty(STDERR_FILENO) == 1 ? 1s : 10s; }

struct Outcome {
    Report report;
    std::optional<int> playerStatus;
};

Outcome runReal(dispatch::RealRealm& realm, LabLog& log, const LabOptions& options,
                std::vector<airplay::ReceiverEntry> receivers) {
    Outcome outcome;
    std::unique_ptr<Lab> lab;
    std::unique_ptr<dispatch::Timer> progress;
    dispatch::Queue& main = realm.mainQueue();
    const dispatch::HostTime start = realm.clock().now();
    const auto elapsed = [&] { return dispatch::toSeconds(realm.clock().now() - start); };
    std::exception_ptr failure;
    boost::asio::signal_set interruption(main.ioContext(), SIGINT, SIGTERM);
    const auto end = [&] {
        interruption.cancel();
        progress.reset();
        lab.reset();
        realm.stop();
    };
    const auto orEnd = [&](auto work) {
        try {
            work();
        } catch (...) {
            failure = std::current_exception();
            end();
        }
    };
    const auto conclude = [&] {
        orEnd([&] {
            outcome.playerStatus = lab->playerStatus();
            outcome.report = lab->conclude(elapsed());
            end();
        });
    };
    const auto begin = [&] {
        lab = std::make_unique<Lab>(realm, log, options, std::move(receivers), [&] { main.async(conclude); });
        progress = std::make_unique<dispatch::Timer>(main, [&] {
            showProgress(*lab, elapsed());
            progress->armAfter(progressPeriod());
        });
        progress->armAfter(progressPeriod());
        lab->start();
    };
    interruption.async_wait([&](boost::system::error_code error, int) {
        if (!error)
            orEnd([] { throw std::runtime_error("interrupted"); });
    });
    main.async([&] { orEnd(begin); });
    realm.run();
    if (failure)
        std::rethrow_exception(failure);
    return outcome;
}

Outcome runVirtual(dispatch::VirtualRealm& realm, LabLog& log, const LabOptions& options,
                   std::vector<airplay::ReceiverEntry> receivers) {
    const dispatch::RealRealm stopwatch;
    const dispatch::HostTime start = stopwatch.clock().now();
    const auto elapsed = [&] { return dispatch::toSeconds(stopwatch.clock().now() - start); };
    Outcome outcome;
    const auto onMain = [&realm](auto work) { realm.mainQueue().sync(work); };
    const auto dropOnMain = [&onMain](Lab* last) { onMain([last] { delete last; }); };
    std::unique_ptr<Lab, decltype(dropOnMain)> lab(nullptr, dropOnMain);
    bool finished = false;
    const auto interrupted =
        std::make_shared<bool>(false); // the signal's handler may be dropped later than this
    boost::asio::signal_set interruption(realm.mainQueue().ioContext(), SIGINT, SIGTERM);
    interruption.async_wait([interrupted](boost::system::error_code error, int) { *interrupted = !error; });
    onMain([&] {
        lab.reset(new Lab(realm, log, options, std::move(receivers), [&] { finished = true; }));
        lab->start();
    });
    for (auto virtualTime = 0min; !finished && !*interrupted && virtualTime < longestRun;
         virtualTime += virtualStep) {
        realm.advanceUntil([&] { return finished || *interrupted; }, virtualStep);
        showProgress(*lab, elapsed());
    }
    if (*interrupted)
        throw std::runtime_error("interrupted");
    onMain([&] {
        outcome.playerStatus = lab->playerStatus();
        outcome.report = lab->conclude(elapsed());
        if (const auto digest = lab->digest())
            log.note(fmt::format("digest of the sound {:016x}", *digest));
    });
    lab.reset();
    realm.settle();
    return outcome;
}

void check(const std::ostream& stream, const std::filesystem::path& path) {
    if (!stream)
        throw std::system_error(errno, std::generic_category(), path.string());
}

/// Opened before anything is played, so that a long run does not end without its report. Not open when no
/// file is asked for.
std::ofstream openJsonReport(const LabOptions& options) {
    std::ofstream file;
    if (!options.jsonReport || options.jsonReport == "-")
        return file;
    file.open(*options.jsonReport);
    check(file, *options.jsonReport);
    return file;
}

void tell(const Outcome& outcome, const LabOptions& options, std::ofstream& jsonReport) {
    fmt::print(stderr, "\n");
    const std::string json = boost::json::serialize(outcome.report.toJson()) + "\n";
    if (options.jsonReport == "-") {
        fmt::print("{}", json);
        return;
    }
    fmt::print("{}", outcome.report.toText());
    if (jsonReport.is_open())
        check(jsonReport << json << std::flush, *options.jsonReport);
}

constexpr const char* logName = "mirrorlab.log";

/// Reads back what the run has left in its folder.
void writePage(const LabOptions& options) {
    orbctl::ReportData data{
        .title = "mirrorlab run",
        .source = sourceOptions(options.soundFiles, options.atLeastSeconds, options.durationSeconds),
        .recordingEnd = orbctl::RecordingEnd::withSource,
        .receivers = {},
        .parameters = {{"mode", options.mode == RunMode::realTime ? "real time" : "virtual time"}},
        .events = {},
        .logLines = {}};
    for (const airplay::ReceiverEntry& entry : receiversOf(options))
        data.receivers.push_back({.name = entry.description.name, .file = entry.file.value_or("")});
    std::ifstream log(options.output / logName);
    for (std::string line; std::getline(log, line);)
        data.logLines.push_back(line);
    orbctl::writeReport(data, *options.report);
}

template <typename Realm, typename Run>
Outcome withLog(Realm& realm, const LabOptions& options, Run runLab) {
    const File logFile(options.output / logName);
    lmn::LMNLogWriter writer(realm, logFile.descriptor());
    LabLog log(realm.clock(), writer, options.journal);
    const lmn::LMNLogInstallation installation(log);
    return runLab(realm, log, options, receiversOf(options));
}

ExitStatus statusOf(const Outcome& outcome) {
    if (outcome.playerStatus.value_or(0) != 0) {
        fmt::print(stderr, "mirrorlab: the player ended with status {}\n", *outcome.playerStatus);
        return exitSoftware;
    }
    return outcome.report.verdict().perfect ? exitPerfect : exitImperfect;
}

Outcome runLab(const LabOptions& options) {
    if (options.mode == RunMode::realTime) {
        dispatch::RealRealm realm;
        return withLog(realm, options, runReal);
    }
    dispatch::VirtualRealm realm;
    return withLog(realm, options, runVirtual);
}

} // namespace

ExitStatus run(const LabOptions& options) {
    try {
        receiversOf(options);
        checkSound(options);
    } catch (const std::exception& error) {
        fmt::print(stderr, "mirrorlab: {}\n", error.what());
        return exitBadData;
    }
    try {
        std::filesystem::create_directories(options.output);
        std::ofstream jsonReport = openJsonReport(options);
        const Outcome outcome = runLab(options);
        tell(outcome, options, jsonReport);
        if (options.report)
            writePage(options);
        return statusOf(outcome);
    } catch (const std::system_error& error) {
        fmt::print(stderr, "mirrorlab: {}\n", error.what());
        return exitCannotCreate;
    } catch (const std::exception& error) {
        fmt::print(stderr, "mirrorlab: {}\n", error.what());
        return exitSoftware;
    }
}

} // namespace mirrorlab
