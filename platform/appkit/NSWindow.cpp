// SPDX-License-Identifier: MIT
#include "platform/appkit/NSWindow.h"

#include <fmt/format.h>

#include <utility>

namespace appkit {

using namespace accessibility;

NSWindow::NSWindow(NSApplication& application)
    : application_(application),
      withdrawn_(std::make_unique<AXTreeElement>(AXWindowRole)),
      element_(*withdrawn_),
      titleText_(element_.add(AXStaticTextRole)),
      content_(element_.add(AXGroupRole)) {
    setTitle({});
}

NSWindow::~NSWindow() { close(); }

void NSWindow::setTitle(std::string title) {
    application_.mainQueue().assertCurrent();
    title_ = std::move(title);
    element_.set(AXTitle, title_);
    titleText_.set(AXValueAttribute, title_);
}

void NSWindow::setContentViewController(std::shared_ptr<NSViewController> controller) {
    application_.mainQueue().assertCurrent();
    unloadContent();
    contentViewController_ = std::move(controller);
    if (contentViewController_) {
        contentViewController_->loadView(content_);
    }
}

void NSWindow::orderFront() {
    application_.mainQueue().assertCurrent();
    isOpen_ = true;
    withdraw();
    bool isPublished = false;
    application_.accessibilityQueue().sync([&] { isPublished = isVisible() && !accessibilityIsIgnored(); });
    if (isPublished) {
        application_.element().addFirst(std::move(withdrawn_));
    }
}

void NSWindow::close() {
    application_.mainQueue().assertCurrent();
    isOpen_ = false;
    withdraw();
    unloadContent();
}

void NSWindow::withdraw() {
    if (!withdrawn_) {
        withdrawn_ = application_.element().remove(element_);
    }
}

void NSWindow::unloadContent() {
    if (const auto before = std::exchange(contentViewController_, nullptr)) {
        before->unloadView();
    }
}

std::string NSWindow::description() const { return fmt::format("<NSWindow: {}>", title_); }

} // namespace appkit
