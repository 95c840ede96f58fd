// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/coding/StructCoding.h"
#include "platform/foundation/coding/TaggedUnion.h"

#include <boost/json/object.hpp>

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <variant>
#include <vector>

namespace orbsim {

/// An entry of a receivers file, as it stands there.
using ReceiverEntry = boost::json::object;

// What happens in a world. Receivers, and the virtual devices that stand for them, are told by their place in
// the list of the world's receivers. Times and durations in s, volumes from 0 to 1.

/// The parent asks for exactly the devices of these receivers.
struct Ask {
    static constexpr std::string_view caseName = "ask";
    std::vector<std::int32_t> receivers;
};

/// The parent asks for a device whose archive nobody can read.
struct AskForNonsense {
    static constexpr std::string_view caseName = "askForNonsense";
};

/// The parent sends so many messages at once that nobody can read.
struct Flood {
    static constexpr std::string_view caseName = "flood";
    std::int32_t messages;
};

/// The parent's process goes, in the middle of a message or between two.
struct ParentDies {
    static constexpr std::string_view caseName = "parentDies";
    bool inMessage;
};

struct Leave {
    static constexpr std::string_view caseName = "leave";
    std::int32_t receiver;
};

/// A receiver is, or comes back as, this entry says; its name and identifier stay.
struct Become {
    static constexpr std::string_view caseName = "become";
    std::int32_t receiver;
    ReceiverEntry entry;
};

struct TurnKnob {
    static constexpr std::string_view caseName = "turnKnob";
    std::int32_t receiver;
    double volume;
};

struct SetVolume {
    static constexpr std::string_view caseName = "setVolume";
    std::int32_t receiver;
    double volume;
};

struct SetMuted {
    static constexpr std::string_view caseName = "setMuted";
    std::int32_t receiver;
    bool muted;
};

/// The device that is played into is muted, or not any more.
struct MuteSource {
    static constexpr std::string_view caseName = "muteSource";
    bool muted;
};

struct SetLatency {
    static constexpr std::string_view caseName = "setLatency";
    double seconds;
};

struct ResetSettings {
    static constexpr std::string_view caseName = "resetSettings";
};

/// A player plays for so long, and leaves. It pauses for `pause` after each `stretch` of sound; 0: never.
/// `partsPerMillion` not 0: it is live, and its clock wanders between so much ahead and so much behind. Does
/// nothing while another one plays.
struct Play {
    static constexpr std::string_view caseName = "play";
    double seconds;
    double stretch;
    double pause;
    double partsPerMillion;
};

/// The player dies.
struct StopPlayer {
    static constexpr std::string_view caseName = "stopPlayer";
};

/// The user's media application plays, or pauses.
struct UserPlays {
    static constexpr std::string_view caseName = "userPlays";
    bool playing;
};

/// The next cycle comes late.
struct LateWake {
    static constexpr std::string_view caseName = "lateWake";
    double seconds;
};

struct StepWallClock {
    static constexpr std::string_view caseName = "stepWallClock";
    double seconds;
};

using Action =
    std::variant<Ask, AskForNonsense, Flood, ParentDies, Leave, Become, TurnKnob, SetVolume, SetMuted,
                 MuteSource, SetLatency, ResetSettings, Play, StopPlayer, UserPlays, LateWake, StepWallClock>;

struct Event {
    double at; // from the launch of the service
    Action action;
};

/// Everything that is drawn: what there is, and what happens. A value; the same world runs the same way.
struct World {
    bool isGrouped;       // the context can play to groups
    double parentArrives; // when its port is there
    double timerLateness; // of every timer
    std::vector<ReceiverEntry> receivers;
    std::vector<Event> events; // in the order of their times

    /// Throws WorldError.
    static World read(const std::filesystem::path& path);
    void write(const std::filesystem::path& path) const;
};

/// A file that is no world; `what()` names it and says where.
class WorldError final : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// As one line, for logs and for people.
std::string describe(const Action& action);

} // namespace orbsim

template <>
struct foundation::Coding<orbsim::ReceiverEntry> {
    static boost::json::value encode(const orbsim::ReceiverEntry& entry) { return entry; }
    static orbsim::ReceiverEntry decode(const boost::json::value& coded, const CodingPath& path);
};

template <>
struct foundation::Coding<orbsim::Ask> : foundation::StructCoding<orbsim::Ask> {
    static constexpr std::tuple fields{Field{"receivers", &orbsim::Ask::receivers}};
};

template <>
struct foundation::Coding<orbsim::AskForNonsense> : foundation::StructCoding<orbsim::AskForNonsense> {
    static constexpr std::tuple<> fields{};
};

template <>
struct foundation::Coding<orbsim::Flood> : foundation::StructCoding<orbsim::Flood> {
    static constexpr std::tuple fields{Field{"messages", &orbsim::Flood::messages}};
};

template <>
struct foundation::Coding<orbsim::ParentDies> : foundation::StructCoding<orbsim::ParentDies> {
    static constexpr std::tuple fields{Field{"inMessage", &orbsim::ParentDies::inMessage}};
};

template <>
struct foundation::Coding<orbsim::Leave> : foundation::StructCoding<orbsim::Leave> {
    static constexpr std::tuple fields{Field{"receiver", &orbsim::Leave::receiver}};
};

template <>
struct foundation::Coding<orbsim::Become> : foundation::StructCoding<orbsim::Become> {
    static constexpr std::tuple fields{Field{"receiver", &orbsim::Become::receiver},
                                       Field{"entry", &orbsim::Become::entry}};
};

template <>
struct foundation::Coding<orbsim::TurnKnob> : foundation::StructCoding<orbsim::TurnKnob> {
    static constexpr std::tuple fields{Field{"receiver", &orbsim::TurnKnob::receiver},
                                       Field{"volume", &orbsim::TurnKnob::volume}};
};

template <>
struct foundation::Coding<orbsim::SetVolume> : foundation::StructCoding<orbsim::SetVolume> {
    static constexpr std::tuple fields{Field{"receiver", &orbsim::SetVolume::receiver},
                                       Field{"volume", &orbsim::SetVolume::volume}};
};

template <>
struct foundation::Coding<orbsim::SetMuted> : foundation::StructCoding<orbsim::SetMuted> {
    static constexpr std::tuple fields{Field{"receiver", &orbsim::SetMuted::receiver},
                                       Field{"muted", &orbsim::SetMuted::muted}};
};

template <>
struct foundation::Coding<orbsim::MuteSource> : foundation::StructCoding<orbsim::MuteSource> {
    static constexpr std::tuple fields{Field{"muted", &orbsim::MuteSource::muted}};
};

template <>
struct foundation::Coding<orbsim::SetLatency> : foundation::StructCoding<orbsim::SetLatency> {
    static constexpr std::tuple fields{Field{"seconds", &orbsim::SetLatency::seconds}};
};

template <>
struct foundation::Coding<orbsim::ResetSettings> : foundation::StructCoding<orbsim::ResetSettings> {
    static constexpr std::tuple<> fields{};
};

template <>
struct foundation::Coding<orbsim::Play> : foundation::StructCoding<orbsim::Play> {
    static constexpr std::tuple fields{
        Field{"seconds", &orbsim::Play::seconds}, Field{"stretch", &orbsim::Play::stretch},
        Field{"pause", &orbsim::Play::pause}, Field{"partsPerMillion", &orbsim::Play::partsPerMillion}};
};

template <>
struct foundation::Coding<orbsim::StopPlayer> : foundation::StructCoding<orbsim::StopPlayer> {
    static constexpr std::tuple<> fields{};
};

template <>
struct foundation::Coding<orbsim::UserPlays> : foundation::StructCoding<orbsim::UserPlays> {
    static constexpr std::tuple fields{Field{"playing", &orbsim::UserPlays::playing}};
};

template <>
struct foundation::Coding<orbsim::LateWake> : foundation::StructCoding<orbsim::LateWake> {
    static constexpr std::tuple fields{Field{"seconds", &orbsim::LateWake::seconds}};
};

template <>
struct foundation::Coding<orbsim::StepWallClock> : foundation::StructCoding<orbsim::StepWallClock> {
    static constexpr std::tuple fields{Field{"seconds", &orbsim::StepWallClock::seconds}};
};

template <>
struct foundation::Coding<orbsim::Event> : foundation::StructCoding<orbsim::Event> {
    static constexpr std::tuple fields{Field{"at", &orbsim::Event::at},
                                       Field{"action", &orbsim::Event::action}};
};

template <>
struct foundation::Coding<orbsim::World> : foundation::StructCoding<orbsim::World> {
    static constexpr std::tuple fields{
        Field{"isGrouped", &orbsim::World::isGrouped}, Field{"parentArrives", &orbsim::World::parentArrives},
        Field{"timerLateness", &orbsim::World::timerLateness}, Field{"receivers", &orbsim::World::receivers},
        Field{"events", &orbsim::World::events}};
};
