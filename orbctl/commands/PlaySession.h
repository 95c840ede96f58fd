// SPDX-License-Identifier: MIT
#pragma once

#include "orbctl/commands/PlayDisplay.h"
#include "orbctl/job/Job.h"
#include "orbctl/job/JobBoard.h"
#include "orbctl/job/PlayedTrack.h"
#include "orbctl/job/Player.h"
#include "orbctl/report/Report.h"
#include "orbctl/terminal/PromptDesk.h"

#include "platform/dispatch/TaskGroup.h"
#include "platform/dispatch/WaitPoint.h"

#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace orbctl {

/// What is to be played, and where.
struct PlayOptions {
    std::vector<std::string> files; // or one "-": standard input
    std::vector<std::string> targets;
    std::optional<double> latency; // s
    std::optional<double> volume;  // 0 to 1
    bool grouped = false;
    std::optional<std::filesystem::path> report;
    std::filesystem::path receiversFile;
    std::filesystem::path service;
    std::optional<std::filesystem::path> log;
    bool json = false;

    bool readsStandardInput() const { return files == std::vector<std::string>{"-"}; }
};

/// One run of the player: its jobs side by side, one sound for all. Made, run once and destroyed on the main
/// queue.
class PlaySession {
  public:
    /// Throws SoundFileError, UsageError, ReceiversFileError, and what keeps devices from being made.
    PlaySession(ParentPlatform& platform, Console& console, PlayOptions options);
    ~PlaySession();
    PlaySession(const PlaySession&) = delete;
    PlaySession& operator=(const PlaySession&) = delete;

    /// Plays, and gives the exit status. A cancellation ends it in order.
    dispatch::Task<int> run();

    /// What the jobs have left behind, once `run` has ended; kept only where a report is asked for.
    const std::vector<ReportData>& reports() const { return reports_; }

  private:
    void openLog();
    void makeJobs();
    void setLatency();
    dispatch::Task<> play();
    dispatch::Task<> startJob(Job& job);
    dispatch::Task<> connectPlayer();
    dispatch::Task<> follow();
    dispatch::Task<> end();
    void prepareReport(const Target& target);
    void completeReports(int status);
    void jobChanged(std::size_t index, const Job& job);
    void jobLogged(std::size_t index, const Job& job, const std::string& line);
    void deviceLost(const std::string& uid, const std::string& reason);
    void complain(const std::string& problem);
    void publish(const Job& job);
    void publishTrack(bool isPlaying);
    std::pair<const PlayedTrack&, double> currentTrack() const;
    dispatch::HostTime nextTick() const;
    bool isIdle() const;
    bool isAnyoneListening() const;
    double total() const;
    int status(bool isInterrupted) const;

    ParentPlatform& platform_;
    const PlayOptions options_;
    const ReceiverList receivers_;
    PlayDisplay display_;
    std::unique_ptr<FrameReader> sound_; // until the player has it
    std::vector<PlayedTrack> tracks_;
    const PlayedTrack* publishedTrack_ = nullptr;
    double publishedAt_ = 0; // s of sound
    std::ofstream log_;
    std::set<std::string> complaints_; // that were said
    std::vector<ReportData> reports_;  // of each job
    Terminal terminal_;
    std::optional<PromptDesk> desk_; // until the end begins
    const JobBoard board_;
    std::optional<double> latencyBefore_; // to be put back
    std::vector<std::unique_ptr<Job>> jobs_;
    std::unique_ptr<Player> player_;
    double latency_ = 0;      // s, in force
    std::size_t started_ = 0; // jobs whose start is over
    PlayerFigures figures_;   // when last looked
    bool hasStarted_ = false;
    bool isFinished_ = false;
    std::optional<std::string> soundFailure_;
    dispatch::TaskGroup starts_;
    dispatch::WaitPoint turn_; // something has happened
};

} // namespace orbctl
