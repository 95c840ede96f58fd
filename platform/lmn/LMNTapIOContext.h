// SPDX-License-Identifier: MIT
#pragma once

#include "platform/lmn/LMNBuffer.h"
#include "platform/lmn/LMNTapConfig.h"

#include <functional>
#include <memory>
#include <string>

namespace lmn {

class LMNDispatchQueue;
class LMNTap;

/// Work that may be done for each captured buffer in place of `processIO`.
using LMNIOBlock = std::function<void(LMNBuffer&)>;

/// What a tap does with what it captures. Made by the tap's delegate when the tap starts, kept by the tap as
/// long as that lives. Its operations are called on the IO queue, in turn.
class LMNTapIOContext {
  public:
    LMNTapIOContext(LMNTap& tap, const LMNTapConfig& config, std::shared_ptr<LMNDispatchQueue> queue,
                    LMNIOBlock ioBlock);
    virtual ~LMNTapIOContext() = default;
    LMNTapIOContext(const LMNTapIOContext&) = delete;
    LMNTapIOContext& operator=(const LMNTapIOContext&) = delete;

    /// IO begins: the first captured buffer follows.
    virtual void willStartIO() {}

    /// IO has ended: no further buffer comes until it begins again.
    virtual void didStopIO() {}

    /// One captured buffer, once per period. Real-time.
    virtual void processIO(LMNBuffer& buffer);

    const LMNTapConfig& config() const { return config_; }
    const std::shared_ptr<LMNDispatchQueue>& queue() const { return queue_; }

    /// "<LMNTapIOContext " and an address.
    virtual std::string description() const;

  private:
    const LMNTapConfig config_;
    const std::shared_ptr<LMNDispatchQueue> queue_;
    const LMNIOBlock ioBlock_;
};

} // namespace lmn
