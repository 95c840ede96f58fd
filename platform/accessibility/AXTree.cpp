// SPDX-License-Identifier: MIT
#include "platform/accessibility/AXTree.h"

#include <algorithm>
#include <utility>

namespace accessibility {

std::uint64_t AXReadCounts::of(std::string_view attribute) const {
    const auto found = counts_.find(attribute);
    return found != counts_.end() ? found->second : 0;
}

std::uint64_t AXReadCounts::total() const {
    std::uint64_t sum = 0;
    for (const auto& [attribute, count] : counts_) {
        sum += count;
    }
    return sum;
}

/// What handles hold: it outlives its element, and then knows nothing.
class AXTreeElement::Provider final : public AXElementProvider {
  public:
    explicit Provider(const AXTreeElement* element) : element_(element) {
        static std::uint64_t last = 0; // main thread
        number_ = ++last;
    }

    void elementGoes() { element_ = nullptr; }

    std::optional<AXValue> attribute(std::string_view name) const override {
        return element_ != nullptr ? element_->read(name) : std::nullopt;
    }

    void perform(std::string_view action) const override {
        if (element_ != nullptr && action == AXPress && element_->press_) {
            const std::function<void()> press = element_->press_; // it may be given another one meanwhile
            press();
        }
    }

    Identity identity() const override { return {nullptr, number_}; }

  private:
    const AXTreeElement* element_;
    std::uint64_t number_;
};

AXTreeElement::AXTreeElement(std::string_view role) : provider_(std::make_shared<Provider>(this)) {
    set(AXRole, std::string(role));
}

AXTreeElement::~AXTreeElement() {
    provider_->elementGoes();
    // From the leaves up and without recursion: a tree may be deeper than the stack.
    Children rest;
    rest.swap(children_);
    while (!rest.empty()) {
        const std::unique_ptr<AXTreeElement> last = std::move(rest.back());
        rest.pop_back();
        std::ranges::move(last->children_, std::back_inserter(rest));
        last->children_.clear();
    }
}

void AXTreeElement::set(std::string_view attribute, AXValue value) {
    attributes_.insert_or_assign(std::string(attribute), std::move(value));
}

void AXTreeElement::clear(std::string_view attribute) {
    if (const auto found = attributes_.find(attribute); found != attributes_.end()) {
        attributes_.erase(found);
    }
}

void AXTreeElement::setList(std::string_view attribute, const std::vector<const AXTreeElement*>& elements) {
    AXElements handles;
    for (const AXTreeElement* element : elements) {
        handles.push_back(element->handle());
    }
    set(attribute, std::move(handles));
}

AXTreeElement& AXTreeElement::add(std::unique_ptr<AXTreeElement> child) {
    return insert(children_.end(), std::move(child));
}

AXTreeElement& AXTreeElement::addFirst(std::unique_ptr<AXTreeElement> child) {
    return insert(children_.begin(), std::move(child));
}

AXTreeElement& AXTreeElement::insert(Children::const_iterator where, std::unique_ptr<AXTreeElement> child) {
    child->parent_ = this;
    if (child->counts_ == nullptr) {
        child->counts_ = counts_;
    }
    return **children_.insert(where, std::move(child));
}

std::unique_ptr<AXTreeElement> AXTreeElement::remove(const AXTreeElement& child) {
    const auto found =
        std::ranges::find_if(children_, [&](const auto& each) { return each.get() == &child; });
    if (found == children_.end()) {
        return nullptr;
    }
    std::unique_ptr<AXTreeElement> removed = std::move(*found);
    children_.erase(found);
    removed->parent_ = nullptr;
    return removed;
}

void AXTreeElement::removeAll() { children_.clear(); }

void AXTreeElement::arrange(const std::vector<const AXTreeElement*>& order) {
    std::map<const AXTreeElement*, std::unique_ptr<AXTreeElement>> before;
    for (std::unique_ptr<AXTreeElement>& child : children_) {
        const AXTreeElement* const key = child.get();
        before.emplace(key, std::move(child));
    }
    children_.clear();
    for (const AXTreeElement* element : order) {
        children_.push_back(std::move(before.at(element)));
    }
}

AXUIElement AXTreeElement::handle() const { return AXUIElement(provider_); }

void AXTreeElement::countReads(AXReadCounts* counts) { counts_ = counts; }

std::optional<AXValue> AXTreeElement::read(std::string_view attribute) const {
    if (counts_ != nullptr) {
        counts_->count(attribute);
    }
    if (attribute == AXParent && parent_ != nullptr) {
        return parent_->handle();
    }
    if (attribute == AXChildren && !children_.empty()) {
        AXElements handles;
        for (const auto& child : children_) {
            handles.push_back(child->handle());
        }
        return handles;
    }
    const auto found = attributes_.find(attribute);
    return found != attributes_.end() ? std::optional(found->second) : std::nullopt;
}

} // namespace accessibility
