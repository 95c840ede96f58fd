// SPDX-License-Identifier: MIT
#pragma once

#include "platform/appkit/NSApplication.h"
#include "platform/appkit/NSViewController.h"

#include <cstdint>
#include <memory>
#include <string>

namespace appkit {

/// A window of this process. There is no screen: what can be seen of it is its element of the process's user
/// interface,
///
///     AXWindow (AXTitle) > AXStaticText (AXValue: the title), AXGroup (the content)
///
/// Owned by whoever made it. Main queue, destroyed there or where nothing runs on it; the queries are asked
/// on any thread, while the main thread waits.
class NSWindow {
  public:
    /// Not on the screen yet. The application outlives the window.
    explicit NSWindow(NSApplication& application);
    virtual ~NSWindow();
    NSWindow(const NSWindow&) = delete;
    NSWindow& operator=(const NSWindow&) = delete;

    std::uint64_t styleMask() const { return styleMask_; }
    void setStyleMask(std::uint64_t mask) { styleMask_ = mask; }
    std::uint64_t collectionBehavior() const { return collectionBehavior_; }
    void setCollectionBehavior(std::uint64_t behavior) { collectionBehavior_ = behavior; }
    bool isExcludedFromWindowsMenu() const { return isExcludedFromWindowsMenu_; }
    void setExcludedFromWindowsMenu(bool isExcluded) { isExcludedFromWindowsMenu_ = isExcluded; }
    int level() const { return level_; }
    void setLevel(int level) { level_ = level; }
    /// 0 transparent, 1 opaque.
    double alphaValue() const { return alphaValue_; }
    void setAlphaValue(double alpha) { alphaValue_ = alpha; }

    const std::string& title() const { return title_; }
    void setTitle(std::string title);

    const std::shared_ptr<NSViewController>& contentViewController() const { return contentViewController_; }
    /// The one before is unloaded and let go. nullptr: none.
    void setContentViewController(std::shared_ptr<NSViewController> controller);

    /// Puts the window before the others of the process. It is published only if it then says, asked on a
    /// thread that is not the main one, that it is visible and not to be ignored.
    void orderFront();

    /// Takes it from the screen and lets its content go. Idempotent.
    void close();

    /// Between `orderFront` and `close`.
    bool isOpen() const { return isOpen_; }

    virtual bool canBecomeKeyWindow() const { return true; }
    virtual bool canBecomeMainWindow() const { return true; }
    virtual bool isVisible() const { return isOpen_; }
    virtual bool accessibilityIsIgnored() const { return false; }

    virtual std::string description() const;

  protected:
    NSApplication& application() const { return application_; }

  private:
    void withdraw();
    void unloadContent();

    NSApplication& application_;
    std::uint64_t styleMask_ = 0;
    std::uint64_t collectionBehavior_ = 0;
    bool isExcludedFromWindowsMenu_ = false;
    int level_ = 0;
    double alphaValue_ = 1;
    std::string title_;
    std::shared_ptr<NSViewController> contentViewController_;
    bool isOpen_ = false;
    std::unique_ptr<accessibility::AXTreeElement> withdrawn_; // the element, while it is not published
    accessibility::AXTreeElement& element_;
    accessibility::AXTreeElement& titleText_;
    accessibility::AXTreeElement& content_;
};

} // namespace appkit
