// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/bridges/ORBSystemClasses.h"
#include "ORBRouteService/devices/LMNDeviceAccessors.h"
#include "ORBRouteService/picker/ORBPickerWindow.h"
#include "platform/avkit/embedded/EmbeddedAirPlay.h"
#include "platform/dispatch/TaskGroup.h"
#include "platform/dispatch/virtual/VirtualRealm.h"
#include "platform/foundation/SharedInstance.h"
#include "platform/foundation/TemporaryDirectory.h"
#include "platform/lmn/LMNDeviceManager.h"
#include "platform/lmn/LogCapture.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace orb {

/// What a parent knows of an output.
struct KnownOutput {
    std::string name;
    std::string address; // the identifier of its UID, unless its record has a better one
    std::optional<TxtRecord> txtRecord{};
};

/// How a request ended, and when, s from its beginning.
struct Ending {
    std::string outcome; // "under way", the name of the routed device, "done", or the error
    double seconds = 0;
};

/// The service's picker on the embedded platform, in virtual time: the receivers are those of a receivers
/// file whose entries a test writes, and nothing else is done to them.
class PickerWorld {
  public:
    enum class Context { auxiliary, defaultShared };

    /// `arrival` is what the picker takes to come; nullopt: it never comes, and no window is opened.
    explicit PickerWorld(const std::string& entries, Context context = Context::auxiliary,
                         std::optional<dispatch::Nanoseconds> arrival = std::chrono::milliseconds(50));
    ~PickerWorld();

    /// The receivers file anew.
    void write(const std::string& entries);

    /// A virtual device as the parent makes it.
    std::shared_ptr<lmn::LMNDevice> device(const KnownOutput& output);

    /// Makes the window, and waits for its picker.
    void open();
    /// Closes the window, if there is one, and lets it go.
    void close();

    /// Each begins a request, which ends in its own time.
    std::shared_ptr<Ending> select(const std::shared_ptr<lmn::LMNDevice>& device);
    std::shared_ptr<Ending> deselect(const std::shared_ptr<lmn::LMNDevice>& device);
    std::shared_ptr<Ending> tryToOpen();
    std::shared_ptr<Ending> pressAnyBox(const std::shared_ptr<lmn::LMNDevice>& device);

    /// Runs until the request has ended; at most ten minutes.
    const Ending& finish(const std::shared_ptr<Ending>& ending);
    void run(double seconds) { realm.advanceBy(dispatch::toNanoseconds(seconds)); }

    std::vector<std::string> routed() const;

    /// The messages of the agent's alerts, the first window's first.
    std::vector<std::string> alerts();

    void onMain(dispatch::FunctionRef<void()> action);

    dispatch::VirtualRealm realm;
    lmn::LogCapture log;
    const foundation::TemporaryDirectory directory;
    const foundation::RuntimeDirectory runtime{directory.path() / "run"};
    foundation::NotificationCenter notifications;
    lmn::LMNDeviceManager deviceManager{runtime, realm.mainQueue()};
    const foundation::SharedInstance<lmn::LMNDeviceManager> sharedDeviceManager{deviceManager};
    airplay::PlaybackSystem playback{realm, [](const std::string& line) { lmn::LMNLog(4, line + "\n"); }};
    std::optional<avkit::EmbeddedAirPlay> airPlay;
    std::optional<ORBSystemClasses> classes;
    std::shared_ptr<AVOutputContextProtocol> context;
    std::shared_ptr<ORBPickerWindow> window;
    dispatch::TaskGroup tasks{realm.mainQueue()};

  private:
    using Result = std::function<dispatch::Task<std::string>()>;

    std::shared_ptr<Ending> begin(const Result& request);
    static dispatch::Task<> note(std::shared_ptr<Ending> ending, const dispatch::Clock& clock,
                                 Result request);
    dispatch::Task<std::string> opened();
    dispatch::Task<std::string> pressed(std::shared_ptr<lmn::LMNDevice> device);
    dispatch::Task<std::string> selected(std::shared_ptr<lmn::LMNDevice> device);
    dispatch::Task<std::string> deselected(std::shared_ptr<lmn::LMNDevice> device);
};

} // namespace orb
