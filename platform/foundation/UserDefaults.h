// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/NotificationCenter.h"
#include "platform/foundation/PreferenceValue.h"
#include "platform/foundation/SuiteName.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace foundation {

/// Posted with the store (the address of its `UserDefaults`) as object, on its queue, after the content
/// changed: once for a change made through this store (a setter that changes nothing posts nothing), once for
/// one that came from elsewhere.
inline constexpr const char* userDefaultsDidChangeNotification = "NSUserDefaultsDidChangeNotification";

/// What a store of preferences works with.
struct UserDefaultsContext {
    dispatch::Queue& queue;                  ///< the main queue: notices foreign changes, posts
    NotificationCenter& notificationCenter;  ///< where changes are posted
    std::filesystem::path configDirectory;   ///< `standardConfigPath()`; created with its parents, 0700
    std::function<void(std::string)> report; ///< takes one line for the log; any thread; sets no preference
};

/// A suite of preferences that all processes of the user share: the file `<config directory>/<suite>.json`,
/// one JSON object of booleans, numbers and texts. Members of other kinds are nobody's values here, but are
/// kept.
///
/// A change is written at once, by read-modify-write under a lock, touches its own key only, and is seen by
/// this process when the setter returns, by the others as soon as they notice the file change.
///
/// The file is never lost: damaged (no JSON, no object), it is reported and read as empty, and stays where it
/// is until something is to be written; then it is renamed to `<suite>.json.damaged-<n>`, its content
/// untouched. Unreadable, it is reported, read as empty, and never written. When a change cannot be written,
/// that is reported, and the new value holds for this process; it goes out with the next change that can be
/// written, unless somebody else changed the same key in between.
///
/// Owned by the composition root; made anywhere, destroyed on the queue or while that is not running.
/// Getters and setters may be called from any thread: getters read a snapshot, setters do file work.
class UserDefaults {
  public:
    UserDefaults(SuiteName suite, const UserDefaultsContext& context);
    virtual ~UserDefaults();
    UserDefaults(const UserDefaults&) = delete;
    UserDefaults& operator=(const UserDefaults&) = delete;

    /// The store of the suite called `name`; nullptr when that is no name for a suite.
    static std::unique_ptr<UserDefaults> open(std::string_view name, const UserDefaultsContext& context);

    const std::string& suiteName() const;
    std::filesystem::path file() const;

    /// Values for the keys that the file lacks, or has with a wrong type. In memory only; added to those
    /// registered before, replacing what is registered for the same key.
    void registerDefaults(const PreferenceValues& defaults);

    /// The value of the file, else the registered one, else nullopt. Kept exactly as it is, not converted.
    std::optional<PreferenceValue> objectForKey(std::string_view key) const;

    /// The value of the file converted to the type asked for; where there is none, or it does not convert,
    /// the registered one; else 0, false, or nullopt. A value that does not convert is reported once.
    /// Booleans are 1 and 0 as numbers; a number is true when it is not 0; a real number becomes an integer
    /// by dropping its fraction; a text that is a number whole converts like it; as a boolean, a text is
    /// true, yes, false or no, in any case, or a number; as text, a boolean is 1 or 0.
    double doubleForKey(std::string_view key) const;
    std::int64_t integerForKey(std::string_view key) const;
    bool boolForKey(std::string_view key) const;
    std::optional<std::string> stringForKey(std::string_view key) const;

    /// Numbers that are not finite are reported and not taken.
    void setObject(std::string_view key, PreferenceValue value);
    void setDouble(std::string_view key, double value) { setObject(key, value); }
    void setInteger(std::string_view key, std::int64_t value) { setObject(key, value); }
    void setBool(std::string_view key, bool value) { setObject(key, value); }
    void setString(std::string_view key, std::string value) { setObject(key, std::move(value)); }

    /// The registered value, if any, shows again.
    void removeObject(std::string_view key);

    /// Whether all changes made here have been written, or were overtaken.
    bool isSaved() const;

  private:
    class Store;
    const std::shared_ptr<Store> store_;
};

} // namespace foundation
