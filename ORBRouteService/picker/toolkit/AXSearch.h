// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/picker/toolkit/AXElementAttributes.h"

#include "platform/accessibility/Accessibility.h"
#include "platform/dispatch/Task.h"

#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace orb {

enum class MatchedSubtrees { search, skip };

/// The elements of that role at and below `root`; of siblings the last comes first. Reads role and children
/// of each element at most once. Main thread, as all of these.
AXElements findElements(const AXUIElement& root, std::string_view role, MatchedSubtrees matchedSubtrees);

/// The first element, parents before their children, whose title, description or value is `text`. `depth` is
/// that of `root`, from 0; below 20 nothing is searched, nor in the subtrees of `excluding`.
std::optional<AXUIElement> findElement(const AXUIElement& root, std::string_view text, int depth = 0,
                                       const std::unordered_set<AXUIElement>& excluding = {});

/// A row of a picker's table.
struct PickerRow {
    std::string label;       // the row's name
    AXElements cellElements; // the children of the row's first cell
};

/// The rows of the first table found at or below `root`. Rows without a cell, with fewer than three elements
/// in it, or whose second element is no label are left out.
std::vector<PickerRow> tableRows(const AXUIElement& root);

/// The window of this process that has a direct child with the value `text`.
dispatch::Task<std::optional<AXUIElement>> findOwnWindow(accessibility::Accessibility& platform,
                                                         std::string text);

} // namespace orb
