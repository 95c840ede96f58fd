// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/JsonFile.h"
#include "platform/foundation/PreferenceValue.h"

#include <boost/json/object.hpp>

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace foundation {

/// Changes on their way to a file, by key; nullopt removes.
using PreferenceChanges = std::map<std::string, std::optional<PreferenceValue>, std::less<>>;

void applyChanges(const PreferenceChanges& changes, boost::json::object& content);

/// The file of a suite, read with tolerance and written with care (see `UserDefaults`). It holds nothing of
/// the content; what it remembers is what it has reported. Owned by a store, used by one thread at a time.
class PreferenceFile {
  public:
    /// `label` begins each line handed to `report`.
    PreferenceFile(std::filesystem::path path, std::string label, std::function<void(std::string)> report);

    const std::filesystem::path& path() const { return file_.path(); }

    /// Empty when there is no file, or none that can be used, which is reported when it is first met.
    boost::json::object read();

    /// Makes the changes to what the file holds by now, setting a damaged one aside; the content as
    /// written, or nullopt when it could not be, which is reported.
    std::optional<boost::json::object> write(const PreferenceChanges& changes);

  private:
    struct Content {
        boost::json::object members;
        bool isDamaged = false;
    };

    Content readOrThrowUnreadable();
    void replaceDamaged(const boost::json::object& members);
    std::filesystem::path linkAside() const;
    void reportFault(const std::string& fault);

    const JsonFile file_;
    const std::string label_;
    const std::function<void(std::string)> report_;
    std::string lastFault_;
};

} // namespace foundation
