// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace accessibility {

class AXUIElement;

using AXElements = std::vector<AXUIElement>;

/// What an attribute can hold.
using AXValue = std::variant<std::string, std::int64_t, double, bool, AXUIElement, AXElements>;

inline constexpr std::string_view AXChildren = "AXChildren";       // elements
inline constexpr std::string_view AXRole = "AXRole";               // text
inline constexpr std::string_view AXTitle = "AXTitle";             // text
inline constexpr std::string_view AXDescription = "AXDescription"; // text
inline constexpr std::string_view AXValueAttribute = "AXValue";    // text of labels, number of check boxes
inline constexpr std::string_view AXRows = "AXRows";               // elements, of a table
inline constexpr std::string_view AXParent = "AXParent";           // element
inline constexpr std::string_view AXPress = "AXPress";             // action

inline constexpr std::string_view AXWindowRole = "AXWindow";
inline constexpr std::string_view AXGroupRole = "AXGroup";
inline constexpr std::string_view AXTableRole = "AXTable";
inline constexpr std::string_view AXRowRole = "AXRow";
inline constexpr std::string_view AXCellRole = "AXCell";
inline constexpr std::string_view AXImageRole = "AXImage";
inline constexpr std::string_view AXStaticTextRole = "AXStaticText";
inline constexpr std::string_view AXTextFieldRole = "AXTextField";
inline constexpr std::string_view AXCheckBoxRole = "AXCheckBox";
inline constexpr std::string_view AXButtonRole = "AXButton";

/// What stands behind an element: part of the user interface of this process or of another. Implemented by
/// whoever publishes a tree. Main thread.
class AXElementProvider {
  public:
    virtual ~AXElementProvider() = default;

    /// nullopt when it has no such attribute, or is there no longer.
    virtual std::optional<AXValue> attribute(std::string_view name) const = 0;

    /// What it does not know, it ignores.
    virtual void perform(std::string_view action) const = 0;

    /// Two providers of one identity stand for the same element.
    struct Identity {
        const void* publisher = nullptr;
        std::uint64_t number = 0; // the publisher's own

        bool operator==(const Identity&) const = default;
    };
    virtual Identity identity() const = 0;
};

/// A handle of one element of a user interface. Copies and handles obtained at another time are equal when
/// they denote the same element; reading one whose element has gone finds nothing. Every read may be a call
/// to another process. Main thread.
class AXUIElement {
  public:
    explicit AXUIElement(std::shared_ptr<const AXElementProvider> provider)
        : provider_(std::move(provider)) {}

    std::optional<AXValue> copyAttributeValue(std::string_view name) const {
        return provider_->attribute(name);
    }
    void performAction(std::string_view action) const { provider_->perform(action); }

    bool operator==(const AXUIElement& other) const {
        return provider_->identity() == other.provider_->identity();
    }
    std::size_t hash() const noexcept;

  private:
    std::shared_ptr<const AXElementProvider> provider_;
};

} // namespace accessibility

template <>
struct std::hash<accessibility::AXUIElement> {
    std::size_t operator()(const accessibility::AXUIElement& element) const noexcept {
        return element.hash();
    }
};
