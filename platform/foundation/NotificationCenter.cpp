// SPDX-License-Identifier: MIT
#include "platform/foundation/NotificationCenter.h"

#include <optional>
#include <utility>

namespace foundation {

NotificationCenter::NotificationCenter()
    : observers_(std::make_shared<ObserverTable<Notification, const void*>>()) {}

void NotificationCenter::post(std::string name, const void* object, boost::json::object userInfo) {
    observers_->deliver({std::move(name), object, std::move(userInfo)});
}

Subscription NotificationCenter::observe(std::string name, const void* object, dispatch::Queue* queue,
                                         Handler handler) {
    const auto filter = object != nullptr ? std::optional(object) : std::nullopt;
    return observers_->add(std::move(name), filter, queue, std::move(handler));
}

} // namespace foundation
