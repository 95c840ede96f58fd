// SPDX-License-Identifier: MIT
#pragma once

#include "orbctl/terminal/Console.h"

#include <CLI/CLI.hpp>

#include <functional>

namespace orbctl {

/// What a command line asks for: run once the line has been read; gives the exit status.
using Action = std::function<int(Console& console)>;

inline constexpr int playedStatus = 0;
inline constexpr int refusedStatus = 1;
inline constexpr int usageStatus = 2;

// Each adds a command, which sets `action` when the command line names it.

void addPlay(CLI::App& app, Action& action);
void addReceivers(CLI::App& app, Action& action);
void addWatch(CLI::App& app, Action& action);
void addVolume(CLI::App& app, Action& action);
void addSettings(CLI::App& app, Action& action);
void addResetSettings(CLI::App& app, Action& action);
void addDump(CLI::App& app, Action& action);
void addReplay(CLI::App& app, Action& action);

/// Reads a command line and does what it asks for; gives the exit status. What is wrong with it, and whatever
/// fails, is said on the console.
int runCommandLine(int argc, const char* const* argv, Console& console);

} // namespace orbctl
