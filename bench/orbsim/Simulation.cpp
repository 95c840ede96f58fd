// SPDX-License-Identifier: MIT
#include "bench/orbsim/Simulation.h"

#include "ORBRouteService/devices/AVOutputDeviceAccessors.h"

#include "platform/accessibility/AXUIElement.h"
#include "platform/foundation/JsonFile.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>

namespace orbsim {
namespace {

/// Between two looks at the world, s.
constexpr double step = 0.25;

/// After which everything has settled that was to, s: a lost receiver is told, volumes are copied, a
/// reconnection that waits has begun.
constexpr double settling = 6;

/// After which the user's pause is long ago, and all that waits for anything has given up, s.
constexpr double longest = 140;

/// How much of a player's sound may still be played after it has left, and the pause after it, s.
constexpr double playOut = 2.5;

/// After which a question that nobody answers is left unanswered, s.
constexpr double promptPatience = 500;

/// What may be in use more after the same once more, bytes: names and lists grow in steps.
constexpr std::size_t memoryAllowance = 32 * 1024;

std::int64_t framesOf(double seconds) {
    return static_cast<std::int64_t>(seconds * orb::ORBManager::renderSampleRate);
}

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
        runFinale(); // the same once more takes no more
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
    player_.reset();
    parent_.reset();
    devices_.clear();
    service_.reset();
}

/// The judge of the sound is told at once, before anything is played to a receiver that has come.
void Simulation::watchReceivers() {
    receivers_ = service_->system->notifications().observe(
        avfoundation::AVOutputContextOutputDevicesDidChangeNotification, nullptr, nullptr,
        [this](const foundation::Notification&) {
            std::set<std::string> connected;
            for (const auto& output : service_->service->context()->outputDevices()) {
                connected.insert(output->ID());
            }
            sound_.setConnected(connected);
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

void Simulation::perform(const Ask& ask) {
    std::set<orb::LMNDeviceCodable> devices;
    service_->onMain([&] {
        for (const std::int32_t receiver : ask.receivers) {
            devices.insert(orb::LMNDeviceCodable::from(*device(receiver)));
        }
    });
    log_.requestWasSent();
    parent_->ask(devices);
}

void Simulation::perform(const AskForNonsense&) {
    log_.requestWasSent();
    parent_->ask({orb::LMNDeviceCodable{foundation::Data{"nonsense"}, "Attic"}});
}

void Simulation::perform(const Flood& flood) { parent_->flood(static_cast<std::size_t>(flood.messages)); }

void Simulation::perform(const ParentDies& death) {
    parentHasDied_ = true;
    parent_->die(death.inMessage);
    service_->run(world_.timerLateness + 0.01);
}

void Simulation::perform(const Leave& leave) {
    entry(leave.receiver).reset();
    writeReceivers();
}

void Simulation::perform(const Become& become) {
    entry(become.receiver) = become.entry;
    writeReceivers();
}

void Simulation::perform(const TurnKnob& turn) {
    if (auto& turned = entry(turn.receiver)) {
        (*turned)["volume"] = turn.volume;
        writeReceivers();
    }
}

void Simulation::perform(const SetVolume& set) {
    touchVolumes();
    service_->onMain([&] { device(set.receiver)->setVolume(set.volume); });
}

void Simulation::perform(const SetMuted& set) {
    touchVolumes();
    service_->onMain([&] { device(set.receiver)->setMuted(set.muted); });
}

void Simulation::perform(const MuteSource& mute) {
    log_.sourceWasMuted();
    lastDisturbance_ = verdict_.now();
    service_->onMain([&] { service_->service->contextDevice()->setMuted(mute.muted); });
}

void Simulation::perform(const SetLatency& set) { changeSettings(set.seconds); }

void Simulation::perform(const ResetSettings&) { changeSettings(std::nullopt); }

void Simulation::changeSettings(std::optional<double> latency) {
    log_.settingsWereChanged();
    service_->onMain([&] {
        orb::ORBManager& manager = service_->system->manager();
        if (latency) {
            manager.setRenderLatency(*latency);
        } else {
            manager.resetDefaults();
        }
        latency_ = manager.renderLatency();
    });
    lastDisturbance_ = verdict_.now();
    log_.setLatency(latency_);
}

void Simulation::perform(const Play& play) {
    if (verdict_.now() < lastPlaying_ + playOut) {
        return;
    }
    const auto frames = framesOf(play.seconds);
    const auto stretch = framesOf(play.stretch);
    PlayerScript script(PlayerScript::Side::both, nextNumber_);
    if (play.partsPerMillion != 0) {
        script.live(frames, play.partsPerMillion);
    } else if (stretch == 0) {
        script.sound(frames);
    } else {
        for (std::int64_t left = frames; left > 0; left -= stretch) {
            script.sound(std::min(left, stretch)).stall(play.pause);
        }
    }
    start(script, {.first = nextNumber_,
                   .last = nextNumber_ + frames - 1,
                   .stretch = stretch,
                   .isLive = play.partsPerMillion != 0});
}

void Simulation::start(const PlayerScript& script, const PlayedSound& sound) {
    sound_.playerBegan(sound);
    playsSteadily_ = sound.stretch == 0;
    lastDisturbance_ = lastPlaying_ = verdict_.now();
    player_ = service_->play(script);
    nextNumber_ = sound.last + 1;
}

void Simulation::perform(const StopPlayer&) {
    if (!player_ || !player_->isPlaying()) {
        return;
    }
    lastPlaying_ = verdict_.now();
    service_->system->audioServer().queue().sync([&] { player_->leave(); });
    realm_.settle();
    nextNumber_ = player_->lastNumber() + 1;
    sound_.playerEnded(player_->lastNumber());
}

void Simulation::perform(const UserPlays& plays) {
    if (!plays.playing) {
        log_.userPaused();
    }
    mediaremote::NowPlayingFile::write(
        service_->system->runtimeDirectory(),
        {{"title", "Song"}, {"duration", 200}, {"elapsedTime", 50}, {"playing", plays.playing ? 1 : 0}});
    realm_.settle();
}

/// What comes later than the latency is not heard, so it comes earlier.
void Simulation::perform(const LateWake& late) {
    wakeDelay_ = std::clamp(latency_ - 0.45, 0.0, late.seconds);
}

void Simulation::perform(const StepWallClock& stepped) {
    realm_.stepWallClock(dispatch::toNanoseconds(stepped.seconds));
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

void Simulation::judge() {
    noteRouted();
    if (player_ && player_->isPlaying()) {
        lastPlaying_ = verdict_.now();
    }
    log_.setPlaying(player_ && player_->isPlaying() && playsSteadily_);
    judgeEnd();
    if (isOver() || !parent_) {
        return;
    }
    if (std::exchange(lostMessages_, log_.lostMessages()) != log_.lostMessages()) {
        parent_->messageWasLost();
    }
    parent_->judgeAnswers(log_.reconnections(), log_.lastPrompt());
    judgeHeard();
    if (isAtRest()) {
        UIDs said = routed_;
        for (const std::string& device : partlyLost_) {
            if (!parent_->connected().contains(device)) {
                said.erase(device);
            }
        }
        parent_->judgeNotices(said);
        judgeVolumes();
    }
}

void Simulation::judgeArrival() {
    const bool comesTooLate = world_.parentArrives > orb::ORBMessagePort::remotePortTimeout.count();
    if (comesTooLate && service_->exits != std::vector{orb::ORBRouteService::noParentStatus}) {
        verdict_.fail("end", "the service did not end without a parent");
    }
    hasEnded_ = comesTooLate;
}

void Simulation::judgeEnd() {
    if (parentHasDied_) {
        if (service_->exits != std::vector{0}) {
            verdict_.fail("end", "the service did not end in order when its parent died");
        }
        hasEnded_ = true;
    } else if (!service_->exits.empty() && parent_) {
        verdict_.fail("end", fmt::format("the service ended with status {}", service_->exits.front()));
    }
}

void Simulation::noteRouted() {
    std::map<std::string, std::size_t> outputs;
    for (const std::string& device : routedList()) {
        ++outputs[device];
    }
    if (outputs == outputs_) {
        return;
    }
    for (const auto& [device, count] : outputs_) {
        const auto now = outputs.find(device);
        if (now == outputs.end()) {
            partlyLost_.erase(device);
            hasLostOne_ |= parent_ && parent_->isWanted(device);
        } else if (now->second < count) {
            partlyLost_.insert(device);
        }
    }
    outputs_ = std::move(outputs);
    std::set<std::string> descriptions;
    for (const auto& output : service_->service->context()->outputDevices()) {
        descriptions.insert(output->description());
    }
    log_.forgetAllBut(descriptions);
    routed_ = routedUIDs();
    routedSince_ = verdict_.now();
    touchVolumes();
}

std::vector<std::string> Simulation::routedList() const {
    std::vector<std::string> devices;
    realm_.mainQueue().sync([&] {
        for (const auto& output : service_->service->context()->outputDevices()) {
            devices.push_back(orb::lmnDevice(*output)->deviceUID());
        }
    });
    return devices;
}

Simulation::UIDs Simulation::routedUIDs() const {
    const std::vector<std::string> devices = routedList();
    return {devices.begin(), devices.end()};
}

bool Simulation::isBusy() const {
    return parent_->isWaiting() || service_->service->deviceUpdateInProgress();
}

bool Simulation::isAtRest() const { return verdict_.now() - routedSince_ > 2.5 && !isBusy(); }

void Simulation::judgeHeard() {
    const double quiet = latency_ + settling;
    const double since = std::max({lastDisturbance_, routedSince_, sound_.lastReset()});
    const bool plays = player_ && player_->isPlaying() && playsSteadily_;
    const bool isMuted = service_->service->contextDevice()->isMuted().get();
    if (!plays || isMuted || verdict_.now() - since <= quiet) {
        return;
    }
    realm_.mainQueue().sync([&] {
        for (const auto& output : service_->service->context()->outputDevices()) {
            if (verdict_.now() - sound_.lastHeardAt(output->ID()) > 1.7) {
                verdict_.fail("heard", fmt::format("{:.1f} s of sound are not heard on {}",
                                                   verdict_.now() - since, output->description()));
            }
        }
    });
}

void Simulation::judgeVolumes() {
    if (verdict_.now() - lastVolumeTouch_ < 3) {
        return;
    }
    realm_.mainQueue().sync([&] {
        for (const auto& output : service_->service->context()->outputDevices()) {
            const auto own = orb::lmnDevice(*output);
            const double difference = std::abs(output->volume() - own->volume().get());
            if (log_.wasHandedOver(output->description()) && !own->isMuted().get() && difference > 0.0011) {
                verdict_.fail("volume", fmt::format("{} is at {}, its device at {}", output->description(),
                                                    output->volume(), own->volume().get()));
            }
        }
    });
}

void Simulation::judgeRouted() {
    if (isOver() || !isAtRest() || parent_->requests().empty() || parent_->requests().back().mayBeLost) {
        return;
    }
    const WireParent::Request& last = parent_->requests().back();
    const bool wasTold =
        last.routed != last.devices || std::ranges::any_of(last.devices, [&](const std::string& device) {
            return parent_->wasToldOfLossOf(device);
        });
    if (routed_ != last.devices && !wasTold) {
        verdict_.fail("routed", fmt::format("asked for [{}], routed [{}], and nobody was told",
                                            fmt::join(last.devices, ", "), fmt::join(routed_, ", ")));
    }
}

Simulation::Rest Simulation::rest() const {
    return {.timers = realm_.armedTimers(), .memory = ::mallinfo2().uordblks};
}

void Simulation::judgeLeftOvers(const Rest& before) {
    if (isOver()) {
        return;
    }
    const Rest after = rest();
    auto& airPlay = service_->system->airPlay();
    std::vector<std::string> left;
    if (after.timers > before.timers) {
        left.push_back(fmt::format("{} timers", after.timers - before.timers));
    }
    if (!airPlay.workspace().runningApplications().empty()) {
        left.emplace_back("an alert");
    }
    realm_.mainQueue().sync([&] {
        if (!orb::children(airPlay.accessibility().createApplication(::getpid())).empty()) {
            left.emplace_back("a picker's window");
        }
    });
    if (service_->service->deviceUpdateInProgress()) {
        left.emplace_back("an update");
    }
    if (!routed_.empty()) {
        left.emplace_back("a connection");
    }
    if (after.memory > before.memory + memoryAllowance) {
        left.push_back(fmt::format("{} bytes", after.memory - before.memory));
    }
    if (!left.empty()) {
        verdict_.fail("rest", fmt::format("left over: {}", fmt::join(left, ", ")));
    }
    if (isShownAsPlaying()) {
        verdict_.fail("playing", "shown as playing long after the sound ended");
    }
}

bool Simulation::isShownAsPlaying() const {
    const foundation::JsonFile file(service_->service->contextDevice()->directory().path() /
                                    "now-playing.json");
    const auto shown = file.read();
    return shown && shown->at("playbackState") == "playing";
}

} // namespace orbsim
