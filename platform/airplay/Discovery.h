// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/Receiver.h"

#include <functional>
#include <memory>
#include <vector>

namespace airplay {

/// Finds receivers. The seam to the network; one per process, made by the composition root. Main queue.
class Discovery {
  public:
    using Receivers = std::vector<std::shared_ptr<Receiver>>;

    /// A search that is under way; destroying it ends it, and no call begins afterwards. Does not outlive
    /// the discovery.
    class Search {
      public:
        Search() = default;
        virtual ~Search() = default;
        Search(const Search&) = delete;
        Search& operator=(const Search&) = delete;
    };

    Discovery() = default;
    virtual ~Discovery() = default;
    Discovery(const Discovery&) = delete;
    Discovery& operator=(const Discovery&) = delete;

    /// Begins a search in which nothing is in sight yet. `changed` is told on the main queue, in later turns,
    /// all receivers in sight, in an order that does not depend on when each was found: whenever one comes,
    /// goes, or describes itself anew. Of one receiver all searches tell the same object.
    virtual std::unique_ptr<Search> search(std::function<void(const Receivers& inSight)> changed) = 0;
};

} // namespace airplay
