// SPDX-License-Identifier: MIT
#include "ORBRouteService/picker/toolkit/AXSearch.h"

#include <unistd.h>

#include <algorithm>
#include <unordered_map>
#include <utility>

namespace orb {
namespace {

constexpr int deepestSearched = 20;
constexpr std::size_t fewestCellElements = 3;
constexpr std::size_t labelElement = 1;

/// What was read of the elements during one search: an element may be met more than once.
class ReadOnce {
  public:
    const std::string& role(const AXUIElement& element) { return read(roles_, element, orb::role); }
    const AXElements& children(const AXUIElement& element) { return read(children_, element, orb::children); }

  private:
    template <typename Value>
    using Cache = std::unordered_map<AXUIElement, Value>;

    template <typename Value>
    static const Value& read(Cache<Value>& cache, const AXUIElement& element,
                             Value (*attribute)(const AXUIElement&)) {
        auto found = cache.find(element);
        if (found == cache.end()) {
            found = cache.emplace(element, attribute(element)).first;
        }
        return found->second;
    }

    Cache<std::string> roles_;
    Cache<AXElements> children_;
};

bool matches(const AXUIElement& element, std::string_view text) {
    return title(element) == text || axDescription(element) == text || stringValue(element) == text;
}

std::optional<PickerRow> pickerRow(const AXUIElement& row) {
    const AXElements cells = children(row);
    if (cells.empty()) {
        return std::nullopt;
    }
    AXElements elements = children(cells.front());
    if (elements.size() < fewestCellElements) {
        return std::nullopt;
    }
    std::optional<std::string> label = stringValue(elements[labelElement]);
    return label ? std::optional(PickerRow{std::move(*label), std::move(elements)}) : std::nullopt;
}

} // namespace

AXElements findElements(const AXUIElement& root, std::string_view role, MatchedSubtrees matchedSubtrees) {
    ReadOnce reads;
    AXElements results;
    AXElements stack{root};
    while (!stack.empty()) {
        const AXUIElement element = std::move(stack.back());
        stack.pop_back();
        if (reads.role(element) == role) {
            results.push_back(element);
            if (matchedSubtrees == MatchedSubtrees::skip) {
                continue;
            }
        }
        std::ranges::copy(reads.children(element), std::back_inserter(stack));
    }
    return results;
}

std::optional<AXUIElement> findElement(const AXUIElement& root, std::string_view text, int depth,
                                       const std::unordered_set<AXUIElement>& excluding) {
    if (depth > deepestSearched || excluding.contains(root)) {
        return std::nullopt;
    }
    if (matches(root, text)) {
        return root;
    }
    for (const AXUIElement& child : children(root)) {
        if (auto found = findElement(child, text, depth + 1, excluding)) {
            return found;
        }
    }
    return std::nullopt;
}

std::vector<PickerRow> tableRows(const AXUIElement& root) {
    const AXElements tables = findElements(root, accessibility::AXTableRole, MatchedSubtrees::skip);
    std::vector<PickerRow> found;
    if (tables.empty()) {
        return found;
    }
    for (const AXUIElement& element : rows(tables.front())) {
        if (std::optional<PickerRow> row = pickerRow(element)) {
            found.push_back(std::move(*row));
        }
    }
    return found;
}

dispatch::Task<std::optional<AXUIElement>> findOwnWindow(accessibility::Accessibility& platform,
                                                         std::string text) {
    for (const AXUIElement& window : children(platform.createApplication(getpid()))) {
        if (role(window) != accessibility::AXWindowRole) {
            continue;
        }
        for (const AXUIElement& child : children(window)) {
            if (stringValue(child) != text) {
                continue;
            }
            if (auto element = parent(child)) {
                co_return element;
            }
            break;
        }
    }
    co_return std::nullopt;
}

} // namespace orb
