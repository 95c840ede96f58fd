// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <stdexcept>
#include <string>

namespace orb {

/// An archive from which no device could be made. The text is for people: it names the device when its name
/// is known, and never shows the archive.
class DeviceRestoreError final : public std::runtime_error {
  public:
    explicit DeviceRestoreError(const std::optional<std::string>& name);
};

} // namespace orb
