// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>

namespace foundation {

/// Where the processes of the user meet: `$ORB_RUNTIME_DIR`, else `$XDG_RUNTIME_DIR/orbroute`, else
/// `/tmp/orbroute-<uid>`. A variable that is empty counts as unset, so does a relative `XDG_...` path; a
/// relative `ORB_...` path is taken from the current directory.
std::filesystem::path standardRuntimePath();

/// Where preferences live: `$ORB_CONFIG_DIR`, else `$XDG_CONFIG_HOME/orbroute`, else `~/.config/orbroute`, by
/// the same rules; the home is `$HOME`, else that of the user database.
std::filesystem::path standardConfigPath();

} // namespace foundation
