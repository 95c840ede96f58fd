// SPDX-License-Identifier: MIT
#include "platform/lmn/LMNTapIOContext.h"

#include <fmt/format.h>

#include <utility>

namespace lmn {

LMNTapIOContext::LMNTapIOContext(LMNTap&, const LMNTapConfig& config, std::shared_ptr<LMNDispatchQueue> queue,
                                 LMNIOBlock ioBlock)
    : config_(config), queue_(std::move(queue)), ioBlock_(std::move(ioBlock)) {}

void LMNTapIOContext::processIO(LMNBuffer& buffer) {
    if (ioBlock_)
        ioBlock_(buffer);
}

std::string LMNTapIOContext::description() const {
    return fmt::format("<LMNTapIOContext {}>", fmt::ptr(this));
}

} // namespace lmn
