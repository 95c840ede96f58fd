// SPDX-License-Identifier: MIT
#include "orbctl/commands/Commands.h"
#include "orbctl/job/UsageError.h"
#include "orbctl/sound/SoundFile.h"

#include "ORBRouteService/log/flight/FlightRecording.h"

#include "platform/airplay/embedded/ReceiversFileError.h"

#include <exception>
#include <sstream>
#include <string>

namespace orbctl {
namespace {

constexpr const char* description =
    "Plays sound on AirPlay receivers by way of the route service, in step and without a gap.";

constexpr const char* footer =
    R"(Examples:
  orbctl receivers
  orbctl play album/*.flac --to Kitchen --to "Living room"
  arecord -f cd -t wav | orbctl play - --to Kitchen --latency 0.5
  orbctl volume 0.3 --to Kitchen
  orbctl settings latency 1.5
  orbctl dump Kitchen --output kitchen.flight
  orbctl replay kitchen.flight

Exit status:
  0    it was done; for play: all was heard
  1    the service or a receiver refused, and the text says which, and what to do; or a report found
       that what was heard is not what was played
  2    wrong usage, an unknown receiver, or a file that cannot be read
  130  interrupted (Ctrl-C ends in order; a second one ends at once)

Environment:
  ORB_RECEIVERS_FILE  the receivers (else receivers.json beside the preferences)
  ORB_RUNTIME_DIR     where services and devices are found
  ORB_CONFIG_DIR      where preferences are

Results go to standard output, all else to standard error.)";

std::string withoutLineEnd(std::string text) {
    text.erase(text.find_last_not_of('\n') + 1);
    return text;
}

/// Help is a result; all else that ends the reading is a mistake.
int tell(const CLI::App& app, const CLI::ParseError& error, Console& console) {
    std::ostringstream help;
    std::ostringstream mistake;
    const bool isHelp = app.exit(error, help, mistake) == 0;
    if (isHelp) {
        console.result(withoutLineEnd(help.str()));
        return playedStatus;
    }
    console.fail(withoutLineEnd(mistake.str()));
    return usageStatus;
}

} // namespace

int runCommandLine(int argc, const char* const* argv, Console& console) {
    CLI::App app(description, "orbctl");
    app.footer(footer);
    app.require_subcommand(1);
    Action action;
    for (const auto add :
         {addPlay, addReceivers, addWatch, addVolume, addSettings, addResetSettings, addDump, addReplay}) {
        add(app, action);
    }
    try {
        app.parse(argc, argv);
        return action(console);
    } catch (const CLI::ParseError& error) {
        return tell(app, error, console);
    } catch (const SoundFileError& error) {
        console.fail(error.what());
        return usageStatus;
    } catch (const UsageError& error) {
        console.fail(error.what());
        return usageStatus;
    } catch (const orb::FlightFileError& error) {
        console.fail(error.what());
        return usageStatus;
    } catch (const airplay::ReceiversFileError& error) {
        console.fail(error.what());
        return usageStatus;
    } catch (const std::exception& error) {
        console.fail(error.what());
        return refusedStatus;
    }
}

} // namespace orbctl
