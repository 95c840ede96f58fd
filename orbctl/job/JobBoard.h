// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/RuntimeDirectory.h"

#include <boost/json/object.hpp>

#include <filesystem>
#include <string>
#include <vector>

namespace orbctl {

/// What the UIDs of the devices begin with that jobs play into.
inline constexpr const char* jobDeviceUIDPrefix = "com.fernwick.orbctl::";

/// Where running jobs can be seen by everybody: a file for each in the directory `jobs` of the runtime
/// directory, `{"version":1,"pid":…,"device":"<UID>",…}`, and the rest as the job says it. What those who
/// died without ending their job have left is taken away. Holds no state: any thread.
class JobBoard {
  public:
    explicit JobBoard(const foundation::RuntimeDirectory& runtimeDirectory);

    /// Shows the job that plays into this device, as it is now. Throws JsonFileError.
    void show(const std::string& deviceUID, boost::json::object job) const;
    void remove(const std::string& deviceUID) const;

    /// All that are shown, by device.
    std::vector<boost::json::object> jobs() const;

  private:
    std::filesystem::path pathOf(const std::string& deviceUID) const;
    void clearAway(const std::filesystem::path& file, const boost::json::object& job) const;

    const foundation::RuntimeDirectory directory_;
    const std::filesystem::path devices_;
};

} // namespace orbctl
