// SPDX-License-Identifier: MIT
#include "platform/foundation/UserDefaults.h"

#include "platform/foundation/FileWatcher.h"
#include "platform/foundation/PreferenceFile.h"

#include <fmt/format.h>
#include <boost/json/serialize.hpp>

#include <sys/stat.h>

#include <cmath>
#include <iterator>
#include <system_error>
#include <utility>

namespace foundation {
namespace {

/// With its parents. Whether that worked shows when the directory is used.
void createPrivately(const std::filesystem::path& directory) {
    std::filesystem::path made;
    for (const auto& component : directory) {
        made /= component;
        mkdir(made.c_str(), S_IRWXU);
    }
}

template <typename Wanted>
constexpr const char* wantedKind = "a text";
template <>
constexpr const char* wantedKind<double> = "a number";
template <>
constexpr const char* wantedKind<std::int64_t> = "an integer";
template <>
constexpr const char* wantedKind<bool> = "a boolean";
template <>
constexpr const char* wantedKind<PreferenceValue> = "a boolean, number or text";

template <typename Wanted>
std::optional<Wanted> convert(const PreferenceValue& value) {
    if constexpr (std::is_same_v<Wanted, PreferenceValue>) {
        return value;
    } else {
        return convertPreference<Wanted>(value);
    }
}

} // namespace

/// What stands behind a store. Two locks: `changing_`, held over file work, makes one change at a time;
/// `reading_`, short and taken inside of the other, guards what getters look at. Nothing is reported or
/// posted under `reading_`.
class UserDefaults::Store : public std::enable_shared_from_this<Store> {
  public:
    Store(SuiteName suite, const UserDefaultsContext& context, const void* identity)
        : suite_(std::move(suite)),
          context_(context),
          identity_(identity),
          file_(context.configDirectory / (suite_.text() + ".json"), label(), context.report) {}

    const SuiteName& suite() const { return suite_; }
    std::filesystem::path path() const { return context_.configDirectory / (suite_.text() + ".json"); }

    /// Watches before it reads, so that no change falls between.
    void start() {
        createPrivately(context_.configDirectory);
        try {
            watcher_.emplace(context_.queue, path(), [this] { reread(); });
        } catch (const std::system_error& error) {
            context_.report(fmt::format("{}: changes are not noticed: {}", label(), error.what()));
        }
        const dispatch::LockGuard guard(changing_);
        stored_ = file_.read();
        show();
    }

    void registerDefaults(const PreferenceValues& defaults) {
        const dispatch::LockGuard guard(reading_);
        for (const auto& [key, value] : defaults) {
            registered_.insert_or_assign(key, value);
        }
    }

    void change(std::string_view key, std::optional<PreferenceValue> value) {
        {
            const dispatch::LockGuard guard(changing_);
            if (!pending_.empty()) {
                takeIn(file_.read());
            }
            pending_.insert_or_assign(std::string(key), std::move(value));
            if (auto written = file_.write(pending_)) {
                stored_ = std::move(*written);
                pending_.clear();
            }
            if (!show()) {
                return;
            }
        }
        post();
    }

    bool isSaved() {
        const dispatch::LockGuard guard(changing_);
        return pending_.empty();
    }

    template <typename Wanted>
    std::optional<Wanted> value(std::string_view key) const {
        const Found found = find(key);
        if (found.stored) {
            const auto preference = preferenceOf(*found.stored);
            auto converted = preference ? convert<Wanted>(*preference) : std::nullopt;
            if (converted) {
                return converted;
            }
            reportWrongKind(key, *found.stored, wantedKind<Wanted>);
        }
        return found.registered ? convert<Wanted>(*found.registered) : std::nullopt;
    }

    void report(std::string_view key, const char* what) const {
        context_.report(fmt::format("{}: {}: {}", label(), key, what));
    }

  private:
    struct Found {
        std::optional<boost::json::value> stored;
        std::optional<PreferenceValue> registered;
    };

    std::string label() const { return fmt::format("preferences suite {}", suite_.text()); }

    /// On the queue.
    void reread() {
        {
            const dispatch::LockGuard guard(changing_);
            takeIn(file_.read());
            if (!show()) {
                return;
            }
        }
        post();
    }

    /// A value that waits to be written gives way to a newer one of somebody else.
    void takeIn(boost::json::object fresh) ORB_REQUIRES(changing_) {
        for (auto change = pending_.begin(); change != pending_.end();) {
            const auto* before = stored_.if_contains(change->first);
            const auto* now = fresh.if_contains(change->first);
            const bool isOvertaken = before == nullptr || now == nullptr ? before != now : *before != *now;
            change = isOvertaken ? pending_.erase(change) : std::next(change);
        }
        stored_ = std::move(fresh);
    }

    /// Lets the getters see what is stored and what waits to be; whether that is something new.
    bool show() ORB_REQUIRES(changing_) {
        boost::json::object content = stored_;
        applyChanges(pending_, content);
        const dispatch::LockGuard guard(reading_);
        if (content == content_) {
            return false;
        }
        content_ = std::move(content);
        return true;
    }

    void post() {
        context_.queue.async([weak = weak_from_this()] {
            if (const auto alive = weak.lock()) {
                alive->context_.notificationCenter.post(userDefaultsDidChangeNotification, alive->identity_);
            }
        });
    }

    Found find(std::string_view key) const {
        const dispatch::LockGuard guard(reading_);
        Found found;
        if (const auto* stored = content_.if_contains(key)) {
            found.stored = *stored;
        }
        if (const auto registered = registered_.find(key); registered != registered_.end()) {
            found.registered = registered->second;
        }
        return found;
    }

    void reportWrongKind(std::string_view key, const boost::json::value& found, const char* wanted) const {
        {
            const dispatch::LockGuard guard(reading_);
            auto& last = wrongKinds_[fmt::format("{} as {}", key, wanted)];
            if (last == found) {
                return;
            }
            last = found;
        }
        context_.report(fmt::format("{}: {}: found {}, wanted {}; the default is used", label(), key,
                                    kindOf(found), wanted));
    }

    const SuiteName suite_;
    const UserDefaultsContext context_;
    const void* const identity_;

    dispatch::Lock changing_;
    PreferenceFile file_ ORB_GUARDED_BY(changing_);
    boost::json::object stored_ ORB_GUARDED_BY(changing_); // as last read or written
    PreferenceChanges pending_ ORB_GUARDED_BY(changing_);  // could not be written yet

    mutable dispatch::Lock reading_;
    boost::json::object content_ ORB_GUARDED_BY(reading_);
    PreferenceValues registered_ ORB_GUARDED_BY(reading_);
    mutable std::map<std::string, std::optional<boost::json::value>> wrongKinds_
        ORB_GUARDED_BY(reading_); // reported

    std::optional<FileWatcher> watcher_; // last: goes first
};

UserDefaults::UserDefaults(SuiteName suite, const UserDefaultsContext& context)
    : store_(std::make_shared<Store>(std::move(suite), context, this)) {
    store_->start();
}

UserDefaults::~UserDefaults() = default;

std::unique_ptr<UserDefaults> UserDefaults::open(std::string_view name, const UserDefaultsContext& context) {
    auto suite = SuiteName::parse(name);
    return suite ? std::make_unique<UserDefaults>(std::move(*suite), context) : nullptr;
}

const std::string& UserDefaults::suiteName() const { return store_->suite().text(); }

std::filesystem::path UserDefaults::file() const { return store_->path(); }

void UserDefaults::registerDefaults(const PreferenceValues& defaults) { store_->registerDefaults(defaults); }

std::optional<PreferenceValue> UserDefaults::objectForKey(std::string_view key) const {
    return store_->value<PreferenceValue>(key);
}

double UserDefaults::doubleForKey(std::string_view key) const {
    return store_->value<double>(key).value_or(0);
}

std::int64_t UserDefaults::integerForKey(std::string_view key) const {
    return store_->value<std::int64_t>(key).value_or(0);
}

bool UserDefaults::boolForKey(std::string_view key) const { return store_->value<bool>(key).value_or(false); }

std::optional<std::string> UserDefaults::stringForKey(std::string_view key) const {
    return store_->value<std::string>(key);
}

void UserDefaults::setObject(std::string_view key, PreferenceValue value) {
    const auto* number = std::get_if<double>(&value);
    if (number != nullptr && !std::isfinite(*number)) {
        return store_->report(key, "a number that is not finite was not taken");
    }
    store_->change(key, std::move(value));
}

void UserDefaults::removeObject(std::string_view key) { store_->change(key, std::nullopt); }

bool UserDefaults::isSaved() const { return store_->isSaved(); }

} // namespace foundation
