// SPDX-License-Identifier: MIT
#include "platform/foundation/PreferenceFile.h"

#include <fmt/format.h>

#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace foundation {
namespace {

/// Nobody keeps more damaged files than this without noticing.
constexpr int maximumSetAside = 1000;

} // namespace

void applyChanges(const PreferenceChanges& changes, boost::json::object& content) {
    for (const auto& [key, value] : changes) {
        if (value) {
            content[key] = jsonOf(*value);
        } else {
            content.erase(key);
        }
    }
}

PreferenceFile::PreferenceFile(std::filesystem::path path, std::string label,
                               std::function<void(std::string)> report)
    : file_(std::move(path)), label_(std::move(label)), report_(std::move(report)) {}

boost::json::object PreferenceFile::read() {
    try {
        return readOrThrowUnreadable().members;
    } catch (const JsonFileError& error) {
        reportFault(fmt::format("{}; defaults are used", error.what()));
        return {};
    }
}

std::optional<boost::json::object> PreferenceFile::write(const PreferenceChanges& changes) {
    try {
        const FileLock lock = file_.lock();
        const Content content = readOrThrowUnreadable();
        boost::json::object members = content.members;
        applyChanges(changes, members);
        if (content.isDamaged) {
            replaceDamaged(members);
        } else if (members != content.members) {
            file_.replace(members);
        }
        return members;
    } catch (const JsonFileError& error) {
        std::string keys;
        for (const auto& [key, value] : changes) {
            keys += (keys.empty() ? "" : ", ") + key;
        }
        report_(
            fmt::format("{}: not saved ({}): {}; this process goes on with it", label_, keys, error.what()));
        return std::nullopt;
    }
}

PreferenceFile::Content PreferenceFile::readOrThrowUnreadable() {
    try {
        const auto value = file_.read();
        if (value && !value->is_object()) {
            throw JsonFileError(JsonFileError::Kind::malformed, path(), "is no JSON object");
        }
        lastFault_.clear();
        return {value ? value->get_object() : boost::json::object(), false};
    } catch (const JsonFileError& error) {
        if (error.kind() != JsonFileError::Kind::malformed) {
            throw;
        }
        reportFault(fmt::format("{}; defaults are used, the damaged file is kept", error.what()));
        return {{}, true};
    }
}

/// The damaged file gets a second name before the new one takes its first, so that it is at every moment
/// under one of them.
void PreferenceFile::replaceDamaged(const boost::json::object& members) {
    const std::filesystem::path aside = linkAside();
    try {
        file_.replace(members);
    } catch (const JsonFileError&) {
        unlink(aside.c_str());
        throw;
    }
    lastFault_.clear();
    report_(fmt::format("{}: the damaged file is now {}", label_, aside.string()));
}

std::filesystem::path PreferenceFile::linkAside() const {
    for (int number = 1; number <= maximumSetAside; ++number) {
        const std::string aside = fmt::format("{}.damaged-{}", path().string(), number);
        if (link(path().c_str(), aside.c_str()) == 0) {
            return aside;
        }
        if (errno != EEXIST) {
            throw JsonFileError(JsonFileError::Kind::unwritable, aside,
                                std::generic_category().message(errno));
        }
    }
    throw JsonFileError(JsonFileError::Kind::unwritable, path(), "too many damaged files are kept already");
}

void PreferenceFile::reportFault(const std::string& fault) {
    if (fault != std::exchange(lastFault_, fault)) {
        report_(fmt::format("{}: {}", label_, fault));
    }
}

} // namespace foundation
