// SPDX-License-Identifier: MIT
#pragma once

#include "platform/accessibility/AXUIElement.h"

#include <optional>
#include <string>

namespace orb {

using accessibility::AXElements;
using accessibility::AXUIElement;

/// Attributes of an element as the service uses them. Each call is one read; an attribute that is absent, or
/// of another type, reads as empty. Main thread.
AXElements children(const AXUIElement& element);
std::string role(const AXUIElement& element);
std::string title(const AXUIElement& element);
std::string axDescription(const AXUIElement& element);

/// The rows of a table.
AXElements rows(const AXUIElement& element);

std::optional<AXUIElement> parent(const AXUIElement& element);

/// The value of a label or text field; nullopt when it is no text.
std::optional<std::string> stringValue(const AXUIElement& element);

/// Presses it. What came of it shows in the state afterwards.
void press(const AXUIElement& element);

} // namespace orb
