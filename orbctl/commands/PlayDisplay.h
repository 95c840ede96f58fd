// SPDX-License-Identifier: MIT
#pragma once

#include "orbctl/job/Job.h"
#include "orbctl/job/Player.h"
#include "orbctl/terminal/Console.h"

#include <boost/json/object.hpp>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace orbctl {

/// Shows a run of the player: to a person, with a line of progress on a terminal, or as one JSON object for
/// each event. Main queue.
class PlayDisplay {
  public:
    enum class Form { text, json };

    PlayDisplay(Console& console, Form form) : console_(console), form_(form) {}

    void jobChanged(const Job& job);

    /// Called twice a second. `total` is 0 where it is not known.
    void progress(const PlayerFigures& figures, double total, const std::vector<std::unique_ptr<Job>>& jobs);

    /// `heard` is nullopt where nothing was played.
    void ended(int status, std::optional<double> heard, const std::vector<std::unique_ptr<Job>>& jobs);

    void say(const std::string& line) { console_.say(line); }

  private:
    void event(const char* name, boost::json::object details);

    Console& console_;
    const Form form_;
    int ticks_ = 0;
};

/// "3:07", "1:00:00".
std::string clockText(double seconds);

/// dB of full scale; -120 for silence.
double decibels(double peak);

} // namespace orbctl
