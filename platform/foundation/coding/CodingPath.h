// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace foundation {

/// Where in a coded value its reader is. Lives on the reader's stack, each step referring to the one before
/// it and to a key that outlives it, so that nothing is allocated unless an error has to tell the place.
class CodingPath {
  public:
    /// The root of the value.
    CodingPath() = default;

    CodingPath key(std::string_view name) const { return {this, name, 0}; }
    CodingPath index(std::size_t position) const { return {this, {}, position}; }

    /// "updateDevices.devices[3].data"; empty at the root.
    std::string text() const;

  private:
    CodingPath(const CodingPath* parent, std::string_view key, std::size_t index)
        : parent_(parent), key_(key), index_(index) {}

    const CodingPath* parent_ = nullptr;
    std::string_view key_; // no data: the step is an index
    std::size_t index_ = 0;
};

} // namespace foundation
