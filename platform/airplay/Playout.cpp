// SPDX-License-Identifier: MIT
#include "platform/airplay/Playout.h"

#include <algorithm>
#include <utility>

namespace airplay {

Playout::Playout(dispatch::Realm& realm)
    : clock_(realm.clock()),
      ownQueue_(realm.makeQueue("airplay.playout")),
      queue_(*ownQueue_),
      timer_(queue_,
             [this] {
                 queue_.assertCurrent();
                 playSteps();
             }),
      wakeUp_(queue_, [this] {
          queue_.assertCurrent();
          woken();
      }) {}

Playout::~Playout() {
    ownQueue_.reset(); // nothing runs on what follows
}

template <typename Change>
void Playout::change(Change&& change) {
    queue_.async([this, change = std::forward<Change>(change)]() mutable {
        queue_.assertCurrent();
        catchUp();
        change();
        arm();
    });
}

void Playout::addRoute(RoutePointer route) {
    change([this, route = std::move(route)] {
        queue_.assertCurrent();
        routes_.push_back(route);
    });
}

void Playout::removeRoute(RoutePointer route) {
    change([this, route = std::move(route)] {
        queue_.assertCurrent();
        route->finish();
        std::erase(routes_, route);
        std::erase_if(ties_, [&](const auto& tie) { return tie.second == route; });
    });
}

void Playout::begin(RoutePointer route, dispatch::HostTime epoch) {
    change([this, route = std::move(route), epoch] {
        route->begin(FrameGrid(epoch));
        route->catchUp(clock_.now());
    });
}

void Playout::connect(RoutePointer route, std::shared_ptr<Receiver> receiver) {
    change([this, route = std::move(route), receiver = std::move(receiver)] {
        queue_.assertCurrent();
        for (const RoutePointer& other : routes_) {
            if (other != route) {
                other->release(*receiver);
            }
        }
        route->connect(receiver);
    });
}

void Playout::disconnect(RoutePointer route, std::shared_ptr<Receiver> receiver) {
    change([route = std::move(route), receiver = std::move(receiver)] { route->disconnect(*receiver); });
}

void Playout::tie(RoutePointer route, std::optional<ProcessIdentifier> process) {
    change([this, route = std::move(route), process] {
        queue_.assertCurrent();
        std::erase_if(ties_, [&](const auto& tie) { return tie.second == route; });
        if (process) {
            ties_[*process] = route;
        }
        distributeSources();
    });
}

void Playout::attach(std::shared_ptr<FrameSource> source, ProcessIdentifier process) {
    change([this, source = std::move(source), process] {
        queue_.assertCurrent();
        sources_.push_back({source, process});
        distributeSources();
    });
}

void Playout::detach(std::shared_ptr<FrameSource> source) {
    change([this, source = std::move(source)] {
        queue_.assertCurrent();
        std::erase_if(sources_, [&](const AttachedSource& attached) { return attached.source == source; });
        distributeSources();
    });
}

void Playout::finish() {
    queue_.sync([this] {
        queue_.assertCurrent();
        catchUp();
        for (const RoutePointer& route : routes_) {
            route->finish();
        }
        routes_.clear();
        ties_.clear();
        sources_.clear();
        timer_.cancel();
    });
    queue_.cancel();
}

void Playout::catchUp() {
    const dispatch::HostTime now = clock_.now();
    for (const RoutePointer& route : routes_) {
        route->catchUp(now);
    }
    passUnheard(now);
}

void Playout::distributeSources() {
    for (const RoutePointer& route : routes_) {
        RoutePlayout::Sources heard;
        for (const AttachedSource& attached : sources_) {
            const auto tie = ties_.find(attached.process);
            if (tie != ties_.end() && tie->second == route) {
                heard.push_back(attached.source);
            }
        }
        route->setSources(std::move(heard));
    }
}

/// Players to whom nobody listens would otherwise keep their buffers for ever.
void Playout::passUnheard(dispatch::HostTime now) {
    for (const AttachedSource& attached : sources_) {
        const auto tie = ties_.find(attached.process);
        if (tie == ties_.end() || !tie->second->isHeard()) {
            attached.source->pass(now);
        }
    }
}

void Playout::playSteps() {
    const dispatch::HostTime now = clock_.now();
    for (const RoutePointer& route : routes_) {
        route->playSteps(now);
    }
    arm();
}

void Playout::woken() {
    passUnheard(clock_.now());
    arm();
}

void Playout::arm() {
    std::optional<dispatch::HostTime> next;
    for (const RoutePointer& route : routes_) {
        if (route->isRunning()) {
            next = next ? std::min(*next, route->nextStep()) : route->nextStep();
        }
    }
    if (!next) {
        timer_.cancel();
    } else if (!timer_.isArmed() || timer_.deadline() != *next) {
        timer_.armAt(*next);
    }
}

} // namespace airplay
