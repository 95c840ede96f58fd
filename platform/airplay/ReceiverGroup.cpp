// SPDX-License-Identifier: MIT
#include "platform/airplay/ReceiverGroup.h"

#include <cstddef>
#include <map>

namespace airplay {

std::vector<ReceiverGroup> groupsOf(const std::vector<std::shared_ptr<Receiver>>& receivers) {
    std::vector<ReceiverGroup> groups;
    std::map<std::string, std::size_t> indexOf;
    for (const auto& receiver : receivers) {
        const auto description = receiver->description();
        const auto gid = description->txt.find("gid");
        if (gid != description->txt.end()) {
            const auto [known, isNew] = indexOf.try_emplace(gid->second, groups.size());
            if (!isNew) {
                groups[known->second].receivers.push_back(receiver);
                continue;
            }
        }
        groups.push_back({{receiver}});
    }
    return groups;
}

} // namespace airplay
