// SPDX-License-Identifier: MIT
#pragma once

#include "platform/accessibility/AXTree.h"
#include "platform/dispatch/Realm.h"

#include <memory>

namespace appkit {

struct NSOperatingSystemVersion {
    int major = 13;
    int minor = 0;

    auto operator<=>(const NSOperatingSystemVersion&) const = default;
};

/// How an application shows itself to the user.
enum class NSApplicationActivationPolicy { regular = 0, accessory = 1, prohibited = 2 };

/// This process as an application, as far as windows need one. Made by the composition root, outlives its
/// windows; main queue.
class NSApplication {
  public:
    struct Parts {
        dispatch::Realm& realm;
        accessibility::AXTreeElement& element; ///< below which the process publishes its windows
        NSOperatingSystemVersion operatingSystem{};
    };

    explicit NSApplication(const Parts& parts);

    dispatch::Queue& mainQueue() const { return mainQueue_; }
    accessibility::AXTreeElement& element() const { return element_; }

    /// Where the system asks windows about themselves: a thread that is not the main one.
    dispatch::Queue& accessibilityQueue() const { return *accessibilityQueue_; }

    /// There is nowhere to show it: the policy is kept for whoever asks.
    NSApplicationActivationPolicy activationPolicy() const { return activationPolicy_; }
    void setActivationPolicy(NSApplicationActivationPolicy policy) { activationPolicy_ = policy; }

    bool isOperatingSystemAtLeast(int major, int minor) const;

  private:
    dispatch::Queue& mainQueue_;
    accessibility::AXTreeElement& element_;
    const NSOperatingSystemVersion operatingSystem_;
    NSApplicationActivationPolicy activationPolicy_ = NSApplicationActivationPolicy::regular;
    const std::unique_ptr<dispatch::Queue> accessibilityQueue_;
};

} // namespace appkit
