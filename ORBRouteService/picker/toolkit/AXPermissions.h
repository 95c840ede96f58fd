// SPDX-License-Identifier: MIT
#pragma once

#include "platform/accessibility/Accessibility.h"
#include "platform/dispatch/Task.h"

#include <exception>

namespace orb {

class AXError final : public std::exception {
  public:
    enum class Code { accessibilityProcessNotTrusted };

    explicit AXError(Code code) : code_(code) {}

    Code code() const { return code_; }
    const char* what() const noexcept override { return "accessibilityProcessNotTrusted"; }

  private:
    Code code_;
};

/// The permission to use the accessibility interface. One per process, made by the composition root; main
/// thread.
class AXPermissions {
  public:
    explicit AXPermissions(accessibility::Accessibility& platform) : platform_(platform) {}

    /// Asks the user, until the answer was once yes; afterwards waits until trust is there again, however
    /// long that takes. Throws `AXError`, `CancellationError`.
    dispatch::Task<> AXProcessGetPermissions();

  private:
    accessibility::Accessibility& platform_;
    bool accessibilityTrustConfirmed_ = false;
};

} // namespace orb
