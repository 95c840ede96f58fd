// SPDX-License-Identifier: MIT
#pragma once

#include "platform/lmn/LMNDevice.h"

#include <stdexcept>
#include <string>
#include <string_view>

namespace lmn {

/// What is no archive of a device; `what()` says why.
class LMNDeviceArchiveError final : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A device apart from its state, as it travels between processes and stands in its directory: a JSON object
/// with "version" (1), "uid", "name", "hidden", "airPlay", "inputChannels", "outputChannels". The UID is not
/// empty; either side has at most 32 channels.
boost::json::object archiveOf(const LMNVirtualDeviceConfig& config);

/// Throws LMNDeviceArchiveError.
LMNVirtualDeviceConfig configOfArchive(const boost::json::value& archive);
LMNVirtualDeviceConfig configOfArchive(std::string_view archive);

} // namespace lmn
