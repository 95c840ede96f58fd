// SPDX-License-Identifier: MIT
#include "platform/accessibility/AXUIElement.h"

#include <boost/container_hash/hash.hpp>

namespace accessibility {

std::size_t AXUIElement::hash() const noexcept {
    const AXElementProvider::Identity identity = provider_->identity();
    std::size_t seed = std::hash<const void*>()(identity.publisher);
    boost::hash_combine(seed, identity.number);
    return seed;
}

} // namespace accessibility
