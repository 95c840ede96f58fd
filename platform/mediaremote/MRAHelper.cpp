// SPDX-License-Identifier: MIT
#include "platform/mediaremote/MRAHelper.h"

#include "platform/foundation/coding/Base64.h"

namespace mediaremote {

std::shared_ptr<appkit::NSImage> MRAImageFrom(const MRAHelper::Dictionary& nowPlayingInfo) {
    const boost::json::value* artwork = nowPlayingInfo.if_contains(kMRAArtworkData);
    if (artwork == nullptr || !artwork->is_string()) {
        return nullptr;
    }
    std::optional<foundation::Data> data = foundation::dataFromBase64(artwork->get_string());
    return data ? appkit::NSImage::fromData(std::move(*data)) : nullptr;
}

} // namespace mediaremote
