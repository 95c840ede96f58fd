// SPDX-License-Identifier: MIT
#include "orbctl/job/JobBoard.h"

#include "platform/foundation/JsonFile.h"
#include "platform/foundation/PathName.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <optional>
#include <system_error>

namespace orbctl {
namespace {

namespace json = boost::json;
using std::filesystem::path;

constexpr const char* extension = ".json";

std::string textOf(const json::object& job, const char* key) {
    const json::value* value = job.if_contains(key);
    return value != nullptr && value->is_string() ? std::string(value->get_string()) : "";
}

bool isAlive(const json::object& job) {
    const json::value* pid = job.if_contains("pid");
    const bool isNumber = pid != nullptr && pid->is_int64() && pid->get_int64() > 0;
    return isNumber && (::kill(static_cast<pid_t>(pid->get_int64()), 0) == 0 || errno != ESRCH);
}

/// nullopt for what is no job, or has just gone.
std::optional<json::object> readJob(const path& file) {
    try {
        const std::optional<json::value> value = foundation::JsonFile(file).read();
        return value && value->is_object() ? std::optional(value->get_object()) : std::nullopt;
    } catch (const foundation::JsonFileError&) {
        return std::nullopt;
    }
}

} // namespace

JobBoard::JobBoard(const foundation::RuntimeDirectory& runtimeDirectory)
    : directory_(runtimeDirectory.subdirectory("jobs")), devices_(runtimeDirectory.path() / "devices") {}

path JobBoard::pathOf(const std::string& deviceUID) const {
    return directory_.path() / (foundation::pathComponentOf(deviceUID) + extension);
}

void JobBoard::show(const std::string& deviceUID, json::object job) const {
    json::object shown{{"version", 1}, {"pid", ::getpid()}, {"device", deviceUID}};
    for (auto& [key, value] : job) {
        shown[key] = std::move(value);
    }
    foundation::JsonFile(pathOf(deviceUID)).replace(shown);
}

void JobBoard::remove(const std::string& deviceUID) const {
    std::error_code ignored;
    std::filesystem::remove(pathOf(deviceUID), ignored);
}

std::vector<json::object> JobBoard::jobs() const {
    std::vector<path> files;
    for (const auto& entry : std::filesystem::directory_iterator(directory_.path())) {
        if (entry.path().extension() == extension) {
            files.push_back(entry.path());
        }
    }
    std::ranges::sort(files);
    std::vector<json::object> jobs;
    for (const path& file : files) {
        if (auto job = readJob(file); job && isAlive(*job)) {
            jobs.push_back(std::move(*job));
        } else if (job) {
            clearAway(file, *job);
        }
    }
    return jobs;
}

/// Of a process that was killed: its device goes too.
void JobBoard::clearAway(const path& file, const json::object& job) const {
    std::error_code ignored;
    std::filesystem::remove(file, ignored);
    if (const std::string device = textOf(job, "device"); device.starts_with(jobDeviceUIDPrefix)) {
        std::filesystem::remove_all(devices_ / foundation::pathComponentOf(device), ignored);
    }
}

} // namespace orbctl
