// SPDX-License-Identifier: MIT
#include "platform/lmn/LMNSystem.h"

#include <algorithm>

namespace lmn {

LMNSystem::LMNSystem(dispatch::Realm& realm, LMNDeviceManager& manager, AudioServer& server)
    : realm_(realm), manager_(manager), server_(server), ioQueue_(realm.makeQueue("lmn.io")) {
    ioQueue_->setRealTime(); // a refusal is told by the first LMNDispatchQueue
}

LMNSystem::~LMNSystem() {
    ioQueue_->sync([this] { pacers_.clear(); });
}

LMNPacer& LMNSystem::pacer(std::uint32_t frameCount, double sampleRate) {
    ioQueue_->assertCurrent();
    std::unique_ptr<LMNPacer>& pacer = pacers_[{frameCount, sampleRate}];
    if (!pacer) {
        pacer = std::make_unique<LMNPacer>(*ioQueue_, frameCount, sampleRate);
        pacer->setWakeDelays(wakeDelays_);
    }
    return *pacer;
}

PacerFigures LMNSystem::pacerFigures() {
    PacerFigures sum;
    ioQueue_->sync([&] {
        for (const auto& [key, pacer] : pacers_) {
            const PacerFigures figures = pacer->figures();
            sum.periods += figures.periods;
            sum.late += figures.late;
            sum.skipped += figures.skipped;
            sum.worstLateness = std::max(sum.worstLateness, figures.worstLateness);
        }
    });
    return sum;
}

} // namespace lmn
