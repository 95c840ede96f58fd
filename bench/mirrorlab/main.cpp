// SPDX-License-Identifier: MIT
#include "bench/mirrorlab/PlayCommand.h"
#include "bench/mirrorlab/RunCommand.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdio>

namespace {

using namespace mirrorlab;

/// Seconds between the two, both included. Unlike the library's own check it refuses what is no number at
/// all.
CLI::Validator secondsWithin(double least, double most) {
    return CLI::Validator(
        [least, most](const std::string& text) {
            double seconds = 0;
            const bool within =
                CLI::detail::lexical_cast(text, seconds) && seconds >= least && seconds <= most;
            return within ? std::string()
                          : fmt::format("{} is not within {} to {} seconds", text, least, most);
        },
        "");
}

/// Longest sound that can be asked for, s; over thirty years.
constexpr double longestSound = 1e9;

void addSoundOptions(CLI::App& command, std::vector<std::filesystem::path>& files,
                     std::optional<double>& atLeast, std::optional<double>& duration) {
    command.add_option("files", files, "Sound files, joined in this order")->required();
    command.add_option("--at-least", atLeast, "Repeat the files until they last this many seconds")
        ->check(secondsWithin(0, longestSound));
    command.add_option("--duration", duration, "Play exactly this many seconds, repeating the files")
        ->check(secondsWithin(0.001, longestSound));
}

void addRunOptions(CLI::App& command, LabOptions& options) {
    addSoundOptions(command, options.soundFiles, options.atLeastSeconds, options.durationSeconds);
    command.add_flag_callback(
        "--virtual",
        [&options] {
            options.mode = RunMode::virtualTime;
            options.keepRecordings = false;
        },
        "Run in virtual time, as fast as the machine can; sound is compared as it streams");
    command.add_flag_callback(
        "--keep", [&options] { options.keepRecordings = true; },
        "Keep recordings in virtual time too (give it after --virtual)");
    command.add_option("--receivers", options.receiversFile,
                       "Receivers file; by default two receivers in the output folder");
    command.add_option("--output", options.output, "Folder for the log and the recordings")
        ->capture_default_str();
    command.add_option("--latency", options.latencySeconds, "Render latency in seconds");
    command.add_flag("--prioritize-sync", options.prioritizeSync, "Retime the render time line all the time");
    command
        .add_option("--wake-delays", options.worstWakeDelaySeconds,
                    "Let wake-ups come late by up to this many seconds")
        ->check(secondsWithin(0, 10));
    command.add_option("--seed", options.seed, "Seed of the late wake-ups")->capture_default_str();
    command.add_option("--json", options.jsonReport,
                       "Write the report for programs to this file (- for standard output)");
    command.add_option("--report", options.report,
                       "Write a page that shows the run to this file; keeps recordings in virtual time too");
    command.add_option("--journal", options.journal,
                       "Write down what happened, alike for two runs in virtual time");
}

} // namespace

int main(int argumentCount, char** arguments) {
    std::signal(SIGPIPE, SIG_IGN); // a reader of the log or the report that goes away ends nothing
    CLI::App app(
        "Measures the audio path: a player streams sound files into a virtual device, the mirror device "
        "plays "
        "them on receivers, and what comes out is compared with what went in.",
        "mirrorlab");
    app.footer(
        "Exit status: 0 the sound was perfect, 1 it was not, 64 wrong usage, 65 an unusable file, 70 the run "
        "failed, 73 a file cannot be written.");
    app.require_subcommand(1);

    LabOptions lab;
    PlayOptions player;
    CLI::App& runCommand = *app.add_subcommand("run", "Play, measure and report");
    addRunOptions(runCommand, lab);
    CLI::App& playCommand = *app.add_subcommand("play", "Only play into a device, as any player would");
    addSoundOptions(playCommand, player.soundFiles, player.atLeastSeconds, player.durationSeconds);
    playCommand.add_option("--socket", player.socket, "Socket of the device")->required();
    playCommand.add_option("--tail", player.tailSeconds, "Seconds of silence behind the sound");

    try {
        app.parse(argumentCount, arguments);
        if (runCommand.parsed()) {
            lab.keepRecordings = lab.keepRecordings || lab.report;
            return run(lab);
        }
        play(player);
        return exitPerfect;
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? exitPerfect : exitUsage;
    } catch (const std::exception& error) {
        fmt::print(stderr, "mirrorlab: {}\n", error.what());
        return exitBadData;
    }
}
