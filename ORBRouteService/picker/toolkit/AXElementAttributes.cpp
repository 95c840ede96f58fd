// SPDX-License-Identifier: MIT
#include "ORBRouteService/picker/toolkit/AXElementAttributes.h"

#include <string_view>

namespace orb {
namespace {

template <typename Value>
std::optional<Value> attribute(const AXUIElement& element, std::string_view name) {
    std::optional<accessibility::AXValue> value = element.copyAttributeValue(name);
    Value* const found = value ? std::get_if<Value>(&*value) : nullptr;
    return found != nullptr ? std::optional(std::move(*found)) : std::nullopt;
}

std::string text(const AXUIElement& element, std::string_view name) {
    return attribute<std::string>(element, name).value_or("");
}

AXElements elements(const AXUIElement& element, std::string_view name) {
    return attribute<AXElements>(element, name).value_or(AXElements{});
}

} // namespace

AXElements children(const AXUIElement& element) { return elements(element, accessibility::AXChildren); }

AXElements rows(const AXUIElement& element) { return elements(element, accessibility::AXRows); }

std::optional<AXUIElement> parent(const AXUIElement& element) {
    return attribute<AXUIElement>(element, accessibility::AXParent);
}

std::string role(const AXUIElement& element) { return text(element, accessibility::AXRole); }

std::string title(const AXUIElement& element) { return text(element, accessibility::AXTitle); }

std::string axDescription(const AXUIElement& element) { return text(element, accessibility::AXDescription); }

std::optional<std::string> stringValue(const AXUIElement& element) {
    return attribute<std::string>(element, accessibility::AXValueAttribute);
}

void press(const AXUIElement& element) { element.performAction(accessibility::AXPress); }

} // namespace orb
