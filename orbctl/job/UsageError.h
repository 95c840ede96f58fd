// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>

namespace orbctl {

/// What the command line asks for cannot be; the text says why.
class UsageError final : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

} // namespace orbctl
