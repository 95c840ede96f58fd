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

// What must hold in every world.
namespace orbsim {
namespace {

/// What may be in use more after the same again and again, bytes: names and lists grow in steps.
constexpr std::size_t memoryAllowance = 16 * 1024;

} // namespace

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
    const Outputs outputs = routedOutputs();
    if (outputs == outputs_) {
        return;
    }
    for (const auto& [device, before] : std::exchange(outputs_, outputs)) {
        const auto now = outputs.find(device);
        if (now == outputs.end()) {
            partlyLost_.erase(device);
            hasLostOne_ |= parent_ && parent_->isWanted(device);
        } else if (!std::ranges::includes(now->second, before)) {
            partlyLost_.insert(device);
        }
    }
    std::set<std::string> descriptions;
    for (const auto& output : service_->service->context()->outputDevices()) {
        descriptions.insert(output->description());
    }
    log_.forgetAllBut(descriptions);
    routed_ = UIDsOf(outputs_);
    routedSince_ = verdict_.now();
    touchVolumes();
}

Simulation::Outputs Simulation::routedOutputs() const {
    Outputs outputs;
    realm_.mainQueue().sync([&] {
        for (const auto& output : service_->service->context()->outputDevices()) {
            outputs[orb::lmnDevice(*output)->deviceUID()].insert(output);
        }
    });
    return outputs;
}

Simulation::UIDs Simulation::UIDsOf(const Outputs& outputs) {
    UIDs devices;
    for (const auto& entry : outputs) {
        devices.insert(entry.first);
    }
    return devices;
}

Simulation::UIDs Simulation::routedUIDs() const { return UIDsOf(routedOutputs()); }

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
