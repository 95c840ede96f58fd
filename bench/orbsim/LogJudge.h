// SPDX-License-Identifier: MIT
#pragma once

#include "bench/orbsim/SoundJudge.h"

#include "platform/lmn/LMNLog.h"

#include <cstddef>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <string_view>

namespace orbsim {

/// Reads all that the service logs, and holds it to these rules:
///
///     reset     a reset of the renderer has a reason, and what the reason tells has happened; it is rebuilt
///               for new settings only
///     failure   nothing fails that has no cause in the world
///     volume    volumes that nobody touches are not copied to and fro
///
/// Tells the sound's judge of resets. Installed as the log while it lives; any thread of a virtual realm,
/// which has only one.
class LogJudge final : public lmn::LMNLogTarget {
  public:
    LogJudge(Verdict& verdict, SoundJudge& sound) : verdict_(verdict), sound_(sound) {}

    void write(lmn::LMNLogLevel level, std::string_view text) noexcept override;

    // What the world does, told as it happens.
    void requestWasSent() { lastRequest_ = verdict_.now(); }
    void sourceWasMuted() { lastMute_ = verdict_.now(); }
    void settingsWereChanged() { lastSettings_ = verdict_.now(); }
    void setPlaying(bool isPlaying) { isPlaying_ = isPlaying; }
    void userPaused() { userHasPaused_ = true; }
    /// The longest latency that has been in force.
    void setLatency(double latency) { latency_ = std::max(latency_, latency); }
    /// Volumes may be copied `copies` times from now on.
    void volumesWereTouched(std::size_t copies) { volumeCopies_ = copies; }

    std::size_t reconnections() const { return reconnections_; }
    double lastPrompt() const { return lastPrompt_; }
    bool wasRebuiltDuringPlay() const { return wasRebuiltDuringPlay_; }
    std::size_t lostMessages() const { return lostMessages_; }

    /// Whether the output of that description had its volume settled with its device's when it joined. Those
    /// that joined in another's stead had not.
    bool wasHandedOver(const std::string& output) const { return handedOver_.contains(output); }
    void forgetAllBut(const std::set<std::string>& outputs) {
        std::erase_if(handedOver_, [&](const std::string& output) { return !outputs.contains(output); });
    }

    /// The last lines, for whoever looks into a failure.
    const std::deque<std::string>& lastLines() const { return lastLines_; }

  private:
    /// What has happened to one mirror device since it was last taken up.
    struct Mirror {
        bool wantsResync = true; // a device was added, or the runner started
        bool devicesChanged = true;
    };

    void read(lmn::LMNLogLevel level, std::string_view text);
    void readMirrorLine(std::string_view line);
    void judgeRebuild();
    void judgeReset(Mirror& mirror, std::string_view reason);
    bool isAllowed(Mirror& mirror, std::string_view reason) const;
    void judgeFailure(std::string_view text);
    void countVolumeCopy();

    Verdict& verdict_;
    SoundJudge& sound_;
    std::map<std::string, Mirror, std::less<>> mirrors_; // by their description in the log
    double lastRequest_ = -1e9;
    double lastMute_ = -1e9;
    double lastSettings_ = 0; // the launch reads them
    double lastRebuild_ = -1e9;
    bool wasRebuiltDuringPlay_ = false;
    double lastSessionEnd_ = -1e9;
    double lastPrompt_ = -1e9;
    double latency_ = 2;
    bool isPlaying_ = false;
    bool userHasPaused_ = false;
    std::size_t lostMessages_ = 0;
    std::size_t reconnections_ = 0;
    std::size_t volumeCopies_ = 0;
    std::set<std::string> handedOver_;
    std::deque<std::string> lastLines_;
    const lmn::LMNLogInstallation installation_{*this};
};

} // namespace orbsim
