// SPDX-License-Identifier: MIT
#pragma once

#include "platform/accessibility/AXUIElement.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace accessibility {

/// How often a tree was read, by attribute: a read of another process is what costs.
class AXReadCounts {
  public:
    void count(std::string_view attribute) { ++counts_[std::string(attribute)]; }
    std::uint64_t of(std::string_view attribute) const;
    std::uint64_t total() const;
    void reset() { counts_.clear(); }

  private:
    std::map<std::string, std::uint64_t, std::less<>> counts_;
};

/// One element of a published user interface, and the tree below it. Whoever publishes it changes it as its
/// state changes; readers reach it by handles only, and find nothing once it has been taken out and dropped.
/// Owned by its parent, or by its publisher. Main thread.
class AXTreeElement {
  public:
    using Children = std::vector<std::unique_ptr<AXTreeElement>>;

    explicit AXTreeElement(std::string_view role);
    ~AXTreeElement();
    AXTreeElement(const AXTreeElement&) = delete;
    AXTreeElement& operator=(const AXTreeElement&) = delete;

    /// Of the attributes that are no elements. AXRole is set from the start.
    void set(std::string_view attribute, AXValue value);
    void clear(std::string_view attribute);

    /// A list of elements other than AXChildren, AXRows say; they are children somewhere below.
    void setList(std::string_view attribute, const std::vector<const AXTreeElement*>& elements);

    AXTreeElement& add(std::unique_ptr<AXTreeElement> child);
    AXTreeElement& add(std::string_view role) { return add(std::make_unique<AXTreeElement>(role)); }
    AXTreeElement& addFirst(std::unique_ptr<AXTreeElement> child);
    std::unique_ptr<AXTreeElement> remove(const AXTreeElement& child);
    void removeAll();

    /// Keeps these children, each named once, in this order, and drops the others.
    void arrange(const std::vector<const AXTreeElement*>& order);
    const Children& children() const { return children_; }

    /// Called for AXPress, at once. It may change the tree, this element included, and drop this element.
    void onPress(std::function<void()> action) { press_ = std::move(action); }

    AXUIElement handle() const;

    /// Of this element and what is added to it from now on.
    void countReads(AXReadCounts* counts);

  private:
    class Provider;

    AXTreeElement& insert(Children::const_iterator where, std::unique_ptr<AXTreeElement> child);
    std::optional<AXValue> read(std::string_view attribute) const;

    std::map<std::string, AXValue, std::less<>> attributes_;
    Children children_;
    AXTreeElement* parent_ = nullptr;
    AXReadCounts* counts_ = nullptr;
    std::function<void()> press_;
    const std::shared_ptr<Provider> provider_;
};

} // namespace accessibility
