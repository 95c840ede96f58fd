// SPDX-License-Identifier: MIT
#include "bench/orbsim/Simulation.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace orbsim {
namespace {

/// Between two looks at the world, s.
constexpr double step = 0.25;

/// After which the user's pause is long ago, and all that waits for anything has given up, s.
constexpr double longest = 140;

/// How often the same is done again, which must take no more memory.
constexpr int repetitions = 3;

/// After which a question that nobody answers is left unanswered, s.
constexpr double promptPatience = 500;

} // namespace

Simulation::Simulation(World world)
    : world_(std::move(world)), entries_(world_.receivers.begin(), world_.receivers.end()) {}

std::optional<Violation> Simulation::run() {
    realm_.setTimerLateness(dispatch::toNanoseconds(world_.timerLateness));
    service_.emplace(realm_, receiversText(),
                     SimulatedService::Options{.supportsGroupedAirPlay = world_.isGrouped,
                                               .observers = sound_.observers()});
    service_->system->lmn().setWakeDelays(
        [this] { return dispatch::toNanoseconds(std::exchange(wakeDelay_, 0)); });
    makeDevices();
    service_->launch({"/bin/service", service_->config().argument()});
    watchReceivers();
    service_->onMain([&] { service_->system->publishNowPlaying(*service_->service->contextDevice()); });
    advance(world_.parentArrives);
    judgeArrival();
    if (!isOver()) {
        parent_.emplace(realm_, service_->system->runtimeDirectory(), verdict_);
        advance(2);
        const Rest before = rest();
        runEvents();
        runFinale();
        const std::size_t memory = rest().memory;
        for (int again = 0; again < repetitions; ++again) {
            runFinale();
        }
        judgeLeftOvers({.timers = before.timers, .memory = memory});
    }
    figures_.seconds = verdict_.now();
    figures_.framesHeard = sound_.framesHeard();
    figures_.requests = parent_ ? static_cast<std::int64_t>(parent_->requests().size()) : 0;
    figures_.resets = sound_.resets();
    if (!isOver()) {
        takeDown();
    }
    return verdict_.violation();
}

void Simulation::takeDown() {
    receivers_.cancel();
    outputs_.clear();
    player_.reset();
    parent_.reset();
    devices_.clear();
    service_.reset();
}

/// The judge of the sound is told at once, before anything is played to a receiver that has come. One that is
/// gone again at once is not there at any look at the world, and yet the world is not at rest.
void Simulation::watchReceivers() {
    receivers_ = service_->system->notifications().observe(
        avfoundation::AVOutputContextOutputDevicesDidChangeNotification, nullptr, nullptr,
        [this](const foundation::Notification&) {
            std::set<std::string> connected;
            for (const auto& output : service_->service->context()->outputDevices()) {
                connected.insert(output->ID());
            }
            sound_.setConnected(connected);
            routedSince_ = verdict_.now();
        });
}

void Simulation::runEvents() {
    const double start = verdict_.now();
    for (const Event& event : world_.events) {
        advance(std::max(0.0, start + event.at - verdict_.now()));
        if (isOver()) {
            return;
        }
        narrator_(fmt::format("{:10.4f} {}", verdict_.now(), describe(event.action)));
        std::visit([&](const auto& action) { perform(action); }, event.action);
        judgeEnd();
    }
    runUntilAnswered();
    advance(settling);
    judgeRouted();
    noteSights();
}

/// What this world had before all was made well: a campaign tells in how many worlds its rules were tried.
void Simulation::noteSights() {
    figures_.worldsWith = {{"sound", sound_.framesHeard() > 0},
                           {"two receivers in step", sound_.hasHeardTwo()},
                           {"a receiver lost", hasLostOne_},
                           {"a question", log_.lastPrompt() > 0},
                           {"a reconnection", log_.reconnections() > 0},
                           {"a message lost", log_.lostMessages() > 0},
                           {"the renderer rebuilt during play", log_.wasRebuiltDuringPlay()}};
}

/// All receivers are well again, and one is asked for: now everything has to work.
void Simulation::runFinale() {
    if (isOver()) {
        return;
    }
    narrator_(fmt::format("{:10.4f} all is well", verdict_.now()));
    perform(StopPlayer{});
    perform(MuteSource{false});
    perform(UserPlays{true});
    std::ranges::fill(entries_, std::nullopt);
    writeReceivers();
    advance(1);
    for (std::size_t receiver = 0; receiver < entries_.size(); ++receiver) {
        ReceiverEntry entry;
        for (const char* key : {"name", "id", "txt"}) {
            entry[key] = world_.receivers[receiver].at(key);
        }
        entries_[receiver] = std::move(entry);
    }
    writeReceivers();
    perform(Ask{});
    runUntilAnswered();
    advance(settling);
    if (routed_.empty()) {
        parent_->nothingIsRouted();
    }
    perform(Ask{{0}});
    runUntilAnswered();
    advance(1);
    const UIDs wanted{devices_.front()->deviceUID()};
    if (!isOver() && (!parent_->requests().back().routed || routedUIDs() != wanted)) {
        verdict_.fail("service", fmt::format("a receiver that is well was asked for; routed: [{}]",
                                             fmt::join(routedUIDs(), ", ")));
    }
    // What is on its way when a player leaves is not heard, so silence follows.
    const std::int64_t frames = framesOf(8);
    start(PlayerScript(PlayerScript::Side::both, nextNumber_).sound(frames).silence(framesOf(latency_ + 3)),
          {.first = nextNumber_, .last = nextNumber_ + frames - 1});
    advance(4);
    if (!isOver() && !isShownAsPlaying()) {
        verdict_.fail("playing", "not shown as playing while the sound is heard");
    }
    advance(4 + latency_ + 3);
    if (!isOver() && sound_.lastHeard() != nextNumber_ - 1) {
        verdict_.fail("service",
                      fmt::format("played up to {}, heard up to {}", nextNumber_ - 1, sound_.lastHeard()));
    }
    perform(Ask{});
    runUntilAnswered();
    advance(longest);
}

void Simulation::runUntilAnswered() {
    const double end = verdict_.now() + promptPatience;
    while (!isOver() && isBusy() && verdict_.now() < end) {
        advance(step);
    }
    advance(1); // what is told afterwards
}

void Simulation::advance(double seconds) {
    const double end = verdict_.now() + seconds;
    while (!isOver() && verdict_.now() < end - 1e-9) {
        service_->run(std::min(step, end - verdict_.now()));
        judge();
    }
}

/// A group has one device, which bears the name of the first receiver in it.
void Simulation::makeDevices() {
    std::shared_ptr<lmn::LMNDevice> group;
    service_->onMain([&] {
        for (const ReceiverEntry& receiver : world_.receivers) {
            const bool isInGroup = receiver.at("txt").as_object().contains("gid");
            const auto made = isInGroup && group ? group : makeDevice(receiver);
            group = isInGroup ? made : group;
            devices_.push_back(made);
        }
    });
}

std::shared_ptr<lmn::LMNDevice> Simulation::makeDevice(const ReceiverEntry& receiver) {
    orb::TxtRecord record;
    for (const auto& [key, value] : receiver.at("txt").as_object()) {
        record.emplace(key, value.as_string());
    }
    return service_->makeDevice(std::string(receiver.at("name").as_string()), record,
                                std::string(receiver.at("id").as_string()));
}

std::string Simulation::receiversText() const {
    std::vector<std::string> texts;
    for (const auto& entry : entries_) {
        if (entry) {
            texts.push_back(boost::json::serialize(*entry));
        }
    }
    return fmt::format("{}", fmt::join(texts, ",\n"));
}

void Simulation::writeReceivers() {
    touchVolumes();
    service_->write(receiversText());
}

/// Volumes may now be copied, from each device to its outputs and back, and not for ever.
void Simulation::touchVolumes() {
    lastVolumeTouch_ = verdict_.now();
    log_.volumesWereTouched(8 * entries_.size());
}

} // namespace orbsim
