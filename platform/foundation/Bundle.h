// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace foundation {

/// A directory with a program and what belongs to it, which says of itself in `Contents/Info.plist` (an XML
/// property list) what it is. Shared; any thread.
class Bundle {
  public:
    /// Looks at what is there now. A directory without a list, or with one that cannot be read, is a bundle
    /// that says nothing.
    explicit Bundle(std::filesystem::path path);

    const std::filesystem::path& path() const { return path_; }
    const std::optional<std::string>& bundleIdentifier() const { return bundleIdentifier_; }

    /// The bundle that this process counts as; nullptr until one is set. Whoever looks afterwards sees it.
    static std::shared_ptr<const Bundle> mainBundle();
    static void setMainBundle(std::shared_ptr<const Bundle> bundle);

  private:
    std::filesystem::path path_;
    std::optional<std::string> bundleIdentifier_;
};

} // namespace foundation
