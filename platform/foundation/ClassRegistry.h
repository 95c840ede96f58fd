// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <typeinfo>

namespace foundation {

/// The system's classes, which are known by their names alone: what a class can do, an object says. Made and
/// filled by the composition root, before anybody looks; from then on any thread.
class ClassRegistry {
  public:
    /// The object outlives the registry. A name that is there already is bound anew.
    template <typename T>
    void add(std::string name, T& object) {
        classes_.insert_or_assign(std::move(name), Entry{&typeid(T), &object});
    }

    /// nullptr when there is none, or one of another type than it was added with.
    template <typename T>
    T* classNamed(std::string_view name) const {
        const auto found = classes_.find(name);
        return found != classes_.end() && *found->second.type == typeid(T)
                   ? static_cast<T*>(found->second.object)
                   : nullptr;
    }

  private:
    struct Entry {
        const std::type_info* type;
        void* object; // a T*, of that very type
    };

    std::map<std::string, Entry, std::less<>> classes_;
};

} // namespace foundation
