// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/AVRoutePickerRemoteViewControllerProtocol.h"
#include "ORBRouteService/devices/AVOutputContextProtocol.h"
#include "ORBRouteService/picker/SystemAlerts.h"
#include "ORBRouteService/picker/toolkit/AXValueMatching.h"

#include "platform/appkit/NSWindow.h"
#include "platform/dispatch/WaitPoint.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orb {

/// What a picker window works with; all outlive it.
struct ORBPickerWindowPlatform {
    appkit::NSApplication& application;
    const appkit::NSWorkspace& workspace;
    accessibility::Accessibility& accessibility;
    AVRoutePickerRemoteViewControllerClassProtocol& routePicker;
};

/// The window that hosts the system's route picker: through it devices are routed to the context and taken
/// from it, as a person would, by their check boxes. Nobody sees it: it is fully transparent and hides from
/// whoever asks on the main thread. The accessibility interface, which asks on others, sees it.
///
/// Its title is a UUID, by which it finds its own element. Shared by whoever uses it and by the task that
/// does; made and used on the main thread. One selection at a time: whoever begins a second one has to wait
/// for the first.
class ORBPickerWindow final : public appkit::NSWindow, public std::enable_shared_from_this<ORBPickerWindow> {
  public:
    enum class Visibility { transparent, debugVisible };

    /// Longest wait for the route picker itself.
    static constexpr std::chrono::seconds pickerPatience{10};

    /// A window without a picker yet; asks the system for one. `windowLoaded` tells when it has come.
    static std::shared_ptr<ORBPickerWindow> create(const ORBPickerWindowPlatform& platform,
                                                   std::shared_ptr<AVOutputContextProtocol> context);

    /// A window with a picker that browses. Throws `ORBDeviceConnectionError` (timedOutWaitingForPicker) and
    /// `CancellationError`.
    static dispatch::Task<std::shared_ptr<ORBPickerWindow>> createPickerWindow(
        ORBPickerWindowPlatform platform, std::shared_ptr<AVOutputContextProtocol> context,
        Visibility visibility);

    ~ORBPickerWindow() override;

    bool canBecomeKeyWindow() const override { return false; }
    bool canBecomeMainWindow() const override { return false; }
    bool isVisible() const override;
    bool accessibilityIsIgnored() const override;
    std::string description() const override;

    /// Called once the picker is installed.
    void setWindowLoaded(std::function<void()> windowLoaded) { windowLoaded_ = std::move(windowLoaded); }
    bool hasLoaded() const { return hasLoaded_; }
    const std::shared_ptr<AVOutputContextProtocol>& context() const { return context_; }
    bool connectionInProgress() const { return connectionInProgress_; }
    bool wantsBrowsing() const { return wantsBrowsing_; }
    bool browsing() const { return browsing_; }

    /// Both leave the discovery of receivers as it is while a selection is under way.
    void startBrowing();
    void stopBrowing();

    /// The names in the picker, in its order. Begins to browse.
    dispatch::Task<std::vector<std::string>> devicesAvailableInPicker();

    /// Routes the device, and nothing else, to the context; the output device that stands for it then. Takes
    /// at most 5 s for its check box to show up, and for each check box of the device's row the confirmation
    /// (see `ConnectionConfirmation`) and 5 s. Throws `OperationTimeout`, `ORBDeviceConnectionError`,
    /// `CancellationError`.
    dispatch::Task<std::shared_ptr<AVOutputDeviceProtocol>> selectDevice(
        std::shared_ptr<lmn::LMNDevice> device);

    /// Takes the device from the context, if it is there, within 2 s. Throws `OperationTimeout`,
    /// `CancellationError`.
    dispatch::Task<> deselectDevice(std::shared_ptr<lmn::LMNDevice> device);

    /// Presses every checked box until the context has no device, or nothing is left to press.
    dispatch::Task<> deselectAllDevices();

    /// Presses the box, unless it is checked, and waits for the confirmation.
    dispatch::Task<> selectDeviceInWindow(AXUIElement checkbox, std::shared_ptr<lmn::LMNDevice> device);

    /// The elements of that role and value in the device's row: the first with its name.
    dispatch::Task<AXElements> rowElements(AXUIElement window, std::shared_ptr<lmn::LMNDevice> device,
                                           std::string role, AXValueMatching value);

  private:
    class Selection;
    using OutputDevices = std::vector<std::shared_ptr<AVOutputDeviceProtocol>>;

    /// The window's element and the unchecked boxes of a device.
    struct Candidates {
        AXUIElement window;
        AXElements checkboxes;
    };

    ORBPickerWindow(const ORBPickerWindowPlatform& platform,
                    std::shared_ptr<AVOutputContextProtocol> context);

    void requestViewController();
    void install(std::shared_ptr<AVRoutePickerRemoteViewControllerProtocol> viewController);
    void loaded();
    dispatch::Task<std::optional<AXUIElement>> ownElement() const;

    dispatch::Task<std::optional<Candidates>> findCandidates(std::shared_ptr<lmn::LMNDevice> device);
    dispatch::Task<std::shared_ptr<AVOutputDeviceProtocol>> selectCandidate(
        AXUIElement checkbox, std::shared_ptr<lmn::LMNDevice> device);
    dispatch::Task<bool> isWithoutNewDevice(const std::vector<std::string>& initialIDs,
                                            std::shared_ptr<AVOutputDeviceProtocol>& newDevice);
    dispatch::Task<bool> isRouted(std::shared_ptr<AVOutputDeviceProtocol> outputDevice);
    dispatch::Task<bool> deselectionPass();
    std::shared_ptr<AVOutputDeviceProtocol> routedMatch(const lmn::LMNDevice& device) const;

    const ORBPickerWindowPlatform platform_;
    const std::shared_ptr<AVOutputContextProtocol> context_;
    const SystemAlerts alerts_;
    dispatch::Queue& mainQueue_;
    std::function<void()> windowLoaded_ = [] {};
    bool hasLoaded_ = false;            // the picker is installed
    bool connectionInProgress_ = false; // a selection is under way
    bool wantsBrowsing_ = false;        // asked for before there was a picker
    bool browsing_ = false;
    std::shared_ptr<AVRoutePickerRemoteViewControllerProtocol> viewController_;
    dispatch::WaitPoint arrival_; // of the picker
};

} // namespace orb
