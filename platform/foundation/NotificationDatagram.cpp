// SPDX-License-Identifier: MIT
#include "platform/foundation/NotificationDatagram.h"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

namespace foundation {
namespace {

constexpr int version = 1;
constexpr std::size_t maximumDepth = 8;

} // namespace

std::string datagramOf(const DistributedNotification& notification) {
    boost::json::object members{{"version", version}, {"name", notification.name}};
    if (notification.object) {
        members["object"] = *notification.object;
    }
    return boost::json::serialize(members);
}

std::variant<DistributedNotification, MalformedDatagram> notificationOf(std::string_view datagram) {
    boost::json::parse_options options;
    options.max_depth = maximumDepth;
    boost::json::error_code error;
    const auto parsed = boost::json::parse(datagram, error, {}, options);
    if (error) {
        return MalformedDatagram{error.message()};
    }
    const auto* members = parsed.if_object();
    if (members == nullptr) {
        return MalformedDatagram{"is no JSON object"};
    }
    const auto* sentVersion = members->if_contains("version");
    if (sentVersion == nullptr || *sentVersion != version) {
        return MalformedDatagram{"is not of version 1"};
    }
    const auto* name = members->if_contains("name");
    if (name == nullptr || !name->is_string() || name->get_string().empty()) {
        return MalformedDatagram{"has no name"};
    }

    DistributedNotification notification{std::string(name->get_string()), std::nullopt};
    const auto* object = members->if_contains("object");
    if (object == nullptr || object->is_null()) {
        return notification;
    }
    if (!object->is_string()) {
        return MalformedDatagram{"has an object that is no text"};
    }
    notification.object = std::string(object->get_string());
    return notification;
}

} // namespace foundation
