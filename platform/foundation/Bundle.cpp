// SPDX-License-Identifier: MIT
#include "platform/foundation/Bundle.h"

#include "platform/dispatch/Ownership.h"

#include <pugixml.hpp>

#include <utility>

namespace foundation {
namespace {

struct MainBundle {
    dispatch::Lock lock;
    std::shared_ptr<const Bundle> bundle ORB_GUARDED_BY(lock);
};

MainBundle& current() {
    static MainBundle instance;
    return instance;
}

/// The text that follows a key in the outermost dictionary of a property list.
std::optional<std::string> textFor(const pugi::xml_document& list, const char* key) {
    for (const pugi::xml_node& node : list.child("plist").child("dict").children("key")) {
        const pugi::xml_node value = node.next_sibling();
        if (std::string_view(node.child_value()) == key && std::string_view(value.name()) == "string") {
            return value.child_value();
        }
    }
    return std::nullopt;
}

} // namespace

Bundle::Bundle(std::filesystem::path path) : path_(std::move(path)) {
    pugi::xml_document list;
    if (list.load_file((path_ / "Contents" / "Info.plist").c_str())) {
        bundleIdentifier_ = textFor(list, "CFBundleIdentifier");
    }
}

std::shared_ptr<const Bundle> Bundle::mainBundle() {
    const dispatch::LockGuard guard(current().lock);
    return current().bundle;
}

void Bundle::setMainBundle(std::shared_ptr<const Bundle> bundle) {
    const dispatch::LockGuard guard(current().lock);
    current().bundle = std::move(bundle);
}

} // namespace foundation
