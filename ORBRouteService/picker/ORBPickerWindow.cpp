// SPDX-License-Identifier: MIT
#include "ORBRouteService/picker/ORBPickerWindow.h"

#include "ORBRouteService/ipc/ORBDeviceConnectionError.h"
#include "ORBRouteService/log/ORBDebugLog.h"
#include "ORBRouteService/picker/toolkit/AXSearch.h"

#include "platform/appkit/NSApplication.h"
#include "platform/foundation/coding/UUID.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace orb {
namespace {

constexpr std::uint64_t nonactivatingPanelStyle = 128;
constexpr std::uint64_t auxiliaryAndIgnoresCycle = 0x20040;
constexpr int aboveAllMenus = 101; // the level of pop-up menus

} // namespace

ORBPickerWindow::ORBPickerWindow(const ORBPickerWindowPlatform& platform,
                                 std::shared_ptr<AVOutputContextProtocol> context)
    : NSWindow(platform.application),
      platform_(platform),
      context_(std::move(context)),
      alerts_(platform.workspace, platform.accessibility),
      mainQueue_(platform.application.mainQueue()),
      arrival_(mainQueue_) {
    setStyleMask(styleMask() | nonactivatingPanelStyle);
    if (platform.application.isOperatingSystemAtLeast(13, 0)) {
        setCollectionBehavior(collectionBehavior() | auxiliaryAndIgnoresCycle);
    }
    setExcludedFromWindowsMenu(true);
}

/// While its own answers to the system's questions still hold.
ORBPickerWindow::~ORBPickerWindow() { close(); }

std::shared_ptr<ORBPickerWindow> ORBPickerWindow::create(const ORBPickerWindowPlatform& platform,
                                                         std::shared_ptr<AVOutputContextProtocol> context) {
    std::shared_ptr<ORBPickerWindow> window(new ORBPickerWindow(platform, std::move(context)));
    window->requestViewController();
    return window;
}

void ORBPickerWindow::requestViewController() {
    platform_.routePicker.requestViewController(
        [weak = weak_from_this()](std::shared_ptr<AVRoutePickerRemoteViewControllerProtocol> viewController) {
            if (const auto window = weak.lock()) {
                window->install(std::move(viewController));
            }
        });
}

void ORBPickerWindow::install(std::shared_ptr<AVRoutePickerRemoteViewControllerProtocol> viewController) {
    mainQueue_.assertCurrent();
    viewController_ = std::move(viewController);
    setContentViewController(viewController_->viewController());
    hasLoaded_ = true;
    viewController_->setOutputContext(context_);
    viewController_->setRevealsAllRoutes(true);
    windowLoaded_();
}

dispatch::Task<std::shared_ptr<ORBPickerWindow>> ORBPickerWindow::createPickerWindow(
    ORBPickerWindowPlatform platform, std::shared_ptr<AVOutputContextProtocol> context,
    Visibility visibility) {
    const std::shared_ptr<ORBPickerWindow> window = create(platform, std::move(context));
    window->setTitle(foundation::UUID::random().string());
    window->setWindowLoaded([weak = window->weak_from_this(), &mainQueue = window->mainQueue_] {
        mainQueue.async([weak] {
            if (const auto loaded = weak.lock()) {
                loaded->loaded();
            }
        });
    });
    window->setLevel(aboveAllMenus);
    window->setAlphaValue(visibility == Visibility::debugVisible ? 1.0 : 0.0);
    window->orderFront();
    const bool hasArrived = co_await window->arrival_.wait(window->mainQueue_.clock().now() + pickerPatience);
    if (!hasArrived) {
        throw ORBDeviceConnectionError(ORBDeviceConnectionError::Case::timedOutWaitingForPicker);
    }
    co_return window;
}

void ORBPickerWindow::loaded() {
    startBrowing();
    arrival_.notify();
}

bool ORBPickerWindow::isVisible() const { return !mainQueue_.isCurrent(); }

bool ORBPickerWindow::accessibilityIsIgnored() const { return mainQueue_.isCurrent(); }

std::string ORBPickerWindow::description() const { return fmt::format("<ORBPickerWindow: {}>", title()); }

void ORBPickerWindow::startBrowing() {
    mainQueue_.assertCurrent();
    if (connectionInProgress_ || browsing_) {
        return;
    }
    browsing_ = viewController_ != nullptr;
    wantsBrowsing_ = !browsing_;
    if (browsing_) {
        viewController_->startDiscoveringAudioRoutes();
    }
    ORBDebugLog(0, "{}: start browsing", description());
}

void ORBPickerWindow::stopBrowing() {
    mainQueue_.assertCurrent();
    wantsBrowsing_ = false;
    if (connectionInProgress_) {
        return;
    }
    if (viewController_ != nullptr) {
        viewController_->stopDiscoveringAudioRoutes();
    }
    browsing_ = false;
    ORBDebugLog(0, "{}: stop browsing", description());
}

dispatch::Task<std::optional<AXUIElement>> ORBPickerWindow::ownElement() const {
    co_return co_await findOwnWindow(platform_.accessibility, title());
}

dispatch::Task<std::vector<std::string>> ORBPickerWindow::devicesAvailableInPicker() {
    startBrowing();
    std::vector<std::string> names;
    const std::optional<AXUIElement> window = co_await ownElement();
    if (window) {
        for (PickerRow& row : tableRows(*window)) {
            if (row.label != title()) {
                names.push_back(std::move(row.label));
            }
        }
    }
    co_return names;
}

} // namespace orb
