// SPDX-License-Identifier: MIT
#include "orbctl/commands/PlaySession.h"

#include "orbctl/job/StreamedSound.h"
#include "orbctl/job/UsageError.h"
#include "orbctl/sound/SourceSound.h"

#include "platform/foundation/JsonFile.h"
#include "platform/mediaremote/embedded/NowPlayingFile.h"

#include <fmt/format.h>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <numeric>
#include <system_error>
#include <utility>

namespace orbctl {
namespace {

constexpr auto tick = std::chrono::milliseconds(500);

/// Between two publications of how far it is.
constexpr int ticksPerPublication = 2;

/// Between two publications of one track, s of its sound: whoever shows it counts on by itself.
constexpr double publicationInterval = 10;

/// Given to services to end in order; what they have played is written then.
constexpr auto endPatience = std::chrono::seconds(5);
constexpr auto endInterval = std::chrono::milliseconds(20);

/// A greater one is not used (see ORBMirrorDevice), s.
constexpr double greatestLatency = 30;

SourceSoundOptions sourceOf(const PlayOptions& options) {
    return {.files = {options.files.begin(), options.files.end()}};
}

std::unique_ptr<FrameReader> openSound(const PlayOptions& options) {
    if (options.readsStandardInput()) {
        return std::make_unique<StreamedSound>(STDIN_FILENO);
    }
    return SourceSound::open(sourceOf(options));
}

std::vector<PlayedTrack> tracksOf(const PlayOptions& options) {
    if (options.readsStandardInput()) {
        return {PlayedTrack{.title = "standard input"}};
    }
    std::vector<PlayedTrack> tracks;
    std::ranges::transform(options.files, std::back_inserter(tracks), &PlayedTrack::of);
    return tracks;
}

} // namespace

PlaySession::PlaySession(ParentPlatform& platform, Console& console, PlayOptions options)
    : platform_(platform),
      options_(std::move(options)),
      receivers_(options_.receiversFile),
      display_(console, options_.json ? PlayDisplay::Form::json : PlayDisplay::Form::text),
      terminal_(platform.mainQueue()),
      desk_(std::in_place, platform.mainQueue(), platform.runtimeDirectory(), terminal_,
            [this](const std::string& line) { display_.say(line); }),
      board_(platform.runtimeDirectory()),
      starts_(platform.mainQueue()),
      turn_(platform.mainQueue()) {
    sound_ = openSound(options_);
    tracks_ = tracksOf(options_);
    openLog();
    makeJobs();
    platform_.setLastAct([this] { terminal_.withdraw(); });
}

PlaySession::~PlaySession() { platform_.setLastAct({}); }

void PlaySession::makeJobs() {
    board_.jobs(); // what dead processes have left goes
    for (const std::string& name : options_.targets) {
        const Target& target = receivers_.find(name);
        const bool isTwice = std::ranges::any_of(
            jobs_, [&](const auto& job) { return job->target().identifier == target.identifier; });
        if (isTwice) {
            throw UsageError(target.name + " is named twice");
        }
        prepareReport(target);
        const std::size_t index = jobs_.size();
        jobs_.push_back(std::make_unique<Job>(
            platform_,
            Job::Options{.target = target,
                         .grouped = options_.grouped,
                         .volume = options_.volume,
                         .service = options_.service,
                         .receiversFile = receivers_.file(),
                         .promptSocket = desk_->socket()},
            Job::Events{.changed = [this, index](const Job& job) { jobChanged(index, job); },
                        .logged = [this, index](const Job& job,
                                                const std::string& line) { jobLogged(index, job, line); }}));
    }
}

void PlaySession::openLog() {
    if (options_.log) {
        log_.open(*options_.log, std::ios::app);
        if (!log_) {
            throw UsageError(options_.log->string() + " cannot be written");
        }
    }
}

void PlaySession::prepareReport(const Target& target) {
    ReportData report{.title = "orbctl play to " + target.name,
                      .source = {},
                      .receivers = {},
                      .parameters = {},
                      .events = {},
                      .logLines = {}};
    if (!options_.readsStandardInput()) {
        report.source = sourceOf(options_);
    }
    for (const Room& room : target.rooms) {
        if (room.recording) {
            report.receivers.push_back({room.name, *room.recording});
        }
    }
    reports_.push_back(std::move(report));
}

void PlaySession::completeReports(int status) {
    for (ReportData& report : reports_) {
        report.recordingEnd = status == 0 ? RecordingEnd::withSource : RecordingEnd::early;
        report.parameters = {{"latency", fmt::format("{} s", latency_)},
                             {"volume", options_.volume ? fmt::format("{}", *options_.volume) : "as it was"}};
    }
}

dispatch::Task<int> PlaySession::run() {
    bool isInterrupted = false;
    std::exception_ptr failure;
    try {
        co_await play();
    } catch (const dispatch::CancellationError&) {
        isInterrupted = true;
    } catch (...) {
        failure = std::current_exception();
    }
    co_await end();
    if (failure) {
        std::rethrow_exception(failure);
    }
    const int result = status(isInterrupted);
    completeReports(result);
    display_.ended(result, hasStarted_ ? std::optional(figures_.heard) : std::nullopt, jobs_);
    co_return result;
}

dispatch::Task<> PlaySession::play() {
    setLatency();
    for (const auto& job : jobs_) {
        starts_.spawn(startJob(*job));
    }
    while (started_ < jobs_.size()) {
        co_await turn_.wait(nextTick());
    }
    co_await connectPlayer();
    if (isAnyoneListening()) {
        player_->start();
        hasStarted_ = true;
        co_await follow();
    }
}

void PlaySession::setLatency() {
    const double before = platform_.manager().renderLatency();
    if (options_.latency && *options_.latency != before) {
        platform_.manager().setRenderLatency(*options_.latency);
        latencyBefore_ = before;
    }
}

dispatch::Task<> PlaySession::startJob(Job& job) {
    co_await job.start();
    ++started_;
    turn_.notify();
}

dispatch::Task<> PlaySession::connectPlayer() {
    latency_ = std::clamp(platform_.manager().renderLatency(), 0.0, greatestLatency);
    player_ = std::make_unique<Player>(
        platform_.realm(), std::move(sound_), latency_,
        Player::Events{
            .lost = [this](const std::string& uid, const std::string& reason) { deviceLost(uid, reason); },
            .finished =
                [this](std::optional<std::string> failure) {
                    isFinished_ = true;
                    soundFailure_ = std::move(failure);
                    turn_.notify();
                }});
    for (const auto& job : jobs_) {
        if (job->failure()) {
            continue;
        }
        std::string failure;
        try {
            co_await player_->addDevice(job->deviceUID(), job->device());
        } catch (const std::runtime_error& error) {
            failure = error.what();
        }
        if (!failure.empty()) {
            deviceLost(job->deviceUID(), failure);
        }
    }
}

/// Until all is heard, or nobody is left to hear it.
dispatch::Task<> PlaySession::follow() {
    publishTrack(true);
    for (int ticks = 0; !isFinished_ && isAnyoneListening(); ++ticks) {
        co_await turn_.wait(nextTick());
        figures_ = player_->figures();
        display_.progress(figures_, total(), jobs_);
        if (ticks % ticksPerPublication == 0) {
            publishTrack(true);
            std::ranges::for_each(jobs_, [this](const auto& job) { publish(*job); });
        }
    }
}

/// Also after a cancellation, which these waits do not notice.
dispatch::Task<> PlaySession::end() {
    desk_.reset(); // the terminal is the person's again
    starts_.cancel();
    if (player_) {
        figures_ = player_->figures();
        player_->stop();
        publishTrack(false);
    }
    for (const auto& job : jobs_) {
        job->terminate();
        board_.remove(job->deviceUID());
    }
    const dispatch::HostTime deadline = platform_.realm().clock().now() + endPatience;
    while (!isIdle() && platform_.realm().clock().now() < deadline) {
        co_await dispatch::sleepThroughCancellation(endInterval);
    }
    for (const auto& job : jobs_) {
        job->kill();
    }
    if (options_.readsStandardInput() && !isFinished_) {
        static_cast<void>(player_.release()); // it may read for ever; the process ends without it
    }
    if (latencyBefore_ && platform_.manager().renderLatency() == *options_.latency) {
        platform_.manager().setRenderLatency(*latencyBefore_);
    }
}

bool PlaySession::isIdle() const {
    return starts_.running() == 0 &&
           std::ranges::all_of(jobs_, [](const auto& job) { return job->hasEnded(); });
}

void PlaySession::jobChanged(std::size_t index, const Job& job) {
    display_.jobChanged(job);
    reports_[index].events.push_back(
        {platform_.realm().clock().wallNow(),
         job.failure() ? job.failure()->text : std::string(nameOf(job.state()))});
    publish(job);
    turn_.notify();
}

/// All to the log, where there is one, else the failures to the person.
void PlaySession::jobLogged(std::size_t index, const Job& job, const std::string& line) {
    if (options_.report) {
        reports_[index].logLines.push_back(line);
    }
    if (log_.is_open()) {
        log_ << line << std::endl;
        if (log_) {
            return;
        }
        complain(fmt::format("{}: {}", options_.log->string(), std::generic_category().message(errno)));
        log_.clear(); // there may be room for the next line
    }
    if (const auto failure = failureOf(line)) {
        display_.say(fmt::format("{}: {}", job.target().name, *failure));
    }
}

void PlaySession::deviceLost(const std::string& uid, const std::string& reason) {
    const auto job = std::ranges::find(jobs_, uid, &Job::deviceUID);
    (*job)->fail({.text = "the service takes no sound: " + reason, .code = std::nullopt, .advice = ""});
}

/// For `orbctl watch`. A disk that is full does not stop the sound.
void PlaySession::publish(const Job& job) {
    try {
        board_.show(job.deviceUID(), {{"to", job.target().name},
                                      {"state", nameOf(job.state())},
                                      {"title", currentTrack().first.title},
                                      {"heard", figures_.heard},
                                      {"total", total()},
                                      {"level", decibels(figures_.peak)},
                                      {"buffered", figures_.buffered}});
    } catch (const foundation::JsonFileError& error) {
        complain(error.what());
    }
}

/// For whoever shows what is playing, when there is news, and now and then.
void PlaySession::publishTrack(bool isPlaying) {
    const auto [track, elapsed] = currentTrack();
    if (isPlaying && publishedTrack_ == &track && figures_.heard < publishedAt_ + publicationInterval) {
        return;
    }
    publishedTrack_ = &track;
    publishedAt_ = figures_.heard;
    try {
        mediaremote::NowPlayingFile::write(platform_.runtimeDirectory(),
                                           track.nowPlaying(elapsed, isPlaying));
    } catch (const foundation::JsonFileError& error) {
        complain(error.what());
    }
}

/// Once: what fails now, for want of room on a disk say, fails again with each line.
void PlaySession::complain(const std::string& problem) {
    if (complaints_.insert(problem).second) {
        display_.say(problem);
    }
}

std::pair<const PlayedTrack&, double> PlaySession::currentTrack() const {
    const auto [index, elapsed] = trackAt(tracks_, figures_.heard);
    return {tracks_[index], elapsed};
}

dispatch::HostTime PlaySession::nextTick() const { return platform_.realm().clock().now() + tick; }

bool PlaySession::isAnyoneListening() const {
    return std::ranges::any_of(jobs_, [](const auto& job) { return !job->failure(); });
}

double PlaySession::total() const {
    return std::accumulate(tracks_.begin(), tracks_.end(), 0.0,
                           [](double sum, const PlayedTrack& track) { return sum + track.duration; });
}

int PlaySession::status(bool isInterrupted) const {
    if (isInterrupted) {
        return interruptedStatus;
    }
    if (soundFailure_) {
        return 2;
    }
    const auto isLacking = [](const auto& job) { return job->failure() || job->wasInterrupted(); };
    return std::ranges::any_of(jobs_, isLacking) ? 1 : 0;
}

} // namespace orbctl
