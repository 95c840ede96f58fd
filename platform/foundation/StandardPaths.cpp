// SPDX-License-Identifier: MIT
#include "platform/foundation/StandardPaths.h"

#include <fmt/format.h>

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <optional>

namespace foundation {
namespace {

using std::filesystem::path;

constexpr const char* ownFolder = "orbroute";

std::optional<path> variable(const char* name) {
    const char* value = std::getenv(name);
    if (value == nullptr || *value == '\0') {
        return std::nullopt;
    }
    return path(value);
}

std::optional<path> absoluteVariable(const char* name) {
    auto value = variable(name);
    return value && value->is_absolute() ? value : std::nullopt;
}

path home() {
    if (const auto value = absoluteVariable("HOME")) {
        return *value;
    }
    passwd entry{};
    passwd* found = nullptr;
    std::array<char, 4096> buffer{};
    if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr) {
        return found->pw_dir;
    }
    return "/";
}

} // namespace

path standardRuntimePath() {
    if (const auto own = variable("ORB_RUNTIME_DIR")) {
        return std::filesystem::absolute(*own);
    }
    if (const auto shared = absoluteVariable("XDG_RUNTIME_DIR")) {
        return *shared / ownFolder;
    }
    return fmt::format("/tmp/{}-{}", ownFolder, geteuid());
}

path standardConfigPath() {
    if (const auto own = variable("ORB_CONFIG_DIR")) {
        return std::filesystem::absolute(*own);
    }
    if (const auto shared = absoluteVariable("XDG_CONFIG_HOME")) {
        return *shared / ownFolder;
    }
    return home() / ".config" / ownFolder;
}

} // namespace foundation
