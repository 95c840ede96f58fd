// SPDX-License-Identifier: MIT
#include "platform/airplay/PlaybackSystem.h"

#include "platform/airplay/Playout.h"

#include <utility>

namespace airplay {

PlaybackSystem::PlaybackSystem(dispatch::Realm& realm, Report report)
    : realm_(realm),
      report_(std::move(report)),
      playout_(std::make_shared<Playout>(realm)),
      users_(std::make_shared<Route::Users>()) {}

PlaybackSystem::~PlaybackSystem() { finish(); }

std::unique_ptr<Route> PlaybackSystem::makeRoute() {
    return std::make_unique<Route>(playout_, users_, realm_.mainQueue());
}

void PlaybackSystem::attach(std::shared_ptr<FrameSource> source, ProcessIdentifier process) {
    playout_->attach(std::move(source), process);
}

void PlaybackSystem::detach(const std::shared_ptr<FrameSource>& source) { playout_->detach(source); }

void PlaybackSystem::wake() noexcept { playout_->wake(); }

void PlaybackSystem::finish() { playout_->finish(); }

dispatch::Queue& PlaybackSystem::playoutQueue() const noexcept { return playout_->queue(); }

} // namespace airplay
