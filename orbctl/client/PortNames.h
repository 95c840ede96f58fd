// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace orbctl {

/// The names of the two message ports of one link, by who owns the port and receives there. Both sides take
/// the same value, so neither can mistake its own port for the other's. A value; any thread.
struct PortNames {
    std::string service; // the service listens here, the parent sends here
    std::string parent;  // the parent listens here, the service sends here

    /// Names that nobody has used and nobody can guess, for one service process: "service-" and "parent-",
    /// each followed by the same random UUID.
    static PortNames fresh();

    bool operator==(const PortNames&) const = default;
};

} // namespace orbctl
