// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace girder {

/// A switch that a developer has set for one part of the system.
struct GDDebugger {
    std::string name;
    bool isActive = false;
};

/// The developer's switches. One per process, made by the composition root; main thread.
class GDDebugCenter {
  public:
    explicit GDDebugCenter(std::vector<GDDebugger> debuggers = {}) : debuggers_(std::move(debuggers)) {}

    std::optional<GDDebugger> debuggerNamed(std::string_view name) const {
        const auto found = std::ranges::find(debuggers_, name, &GDDebugger::name);
        return found != debuggers_.end() ? std::optional(*found) : std::nullopt;
    }

  private:
    const std::vector<GDDebugger> debuggers_;
};

} // namespace girder
