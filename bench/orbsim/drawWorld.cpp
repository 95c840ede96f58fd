// SPDX-License-Identifier: MIT
#include "bench/orbsim/drawWorld.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <random>

namespace orbsim {
namespace {

constexpr std::array names{"Kitchen", "Bath", "Küche “Süd”", "Hall"};

class Draw {
  public:
    explicit Draw(std::uint64_t seed) : random_(seed) {}

    World world() {
        World world{.isGrouped = oneIn(2),
                    .parentArrives = oneIn(40) ? 31 : of({0, 0, 0.4, 3, 25}),
                    .timerLateness = of({1e-5, 1e-5, 1e-4, 1e-3}),
                    .receivers = {},
                    .events = {}};
        isGrouped_ = world.isGrouped;
        areWell_ = oneIn(3);
        count_ = 1 + below(static_cast<int>(names.size()));
        for (int number = 0; number < count_; ++number) {
            world.receivers.push_back(receiver(number));
        }
        entries_ = world.receivers;
        double at = 0;
        if (!oneIn(4)) {
            world.events.push_back({0, play()});
            world.events.push_back({0, ask()});
        }
        // In some, one thing follows the other; in the rest there is time to play.
        const bool isHasty = oneIn(2);
        for (int count = 3 + below(20); count > 0; --count) {
            at += isHasty ? of({0, 0.05, 0.3, 1, 4, 12}) : of({1, 4, 12, 12});
            world.events.push_back({at, action()});
        }
        return world;
    }

  private:
    int below(int count) { return std::uniform_int_distribution(0, count - 1)(random_); }
    bool oneIn(int count) { return below(count) == 0; }
    double of(std::initializer_list<double> values) {
        return values.begin()[below(static_cast<int>(values.size()))];
    }
    std::int32_t anyReceiver() { return below(count_); }
    double volume() { return oneIn(4) ? 0 : below(1001) / 1000.0; }

    ReceiverEntry receiver(int number) {
        const std::string address = fmt::format("A1:00:00:00:00:0{}", number + 1);
        // Seldom two of one name, of which the picker's first row is the one that is tried.
        const auto name = oneIn(12) ? names.front() : names.at(static_cast<std::size_t>(number));
        ReceiverEntry entry{{"name", name}, {"id", address}};
        entry["txt"] = isGrouped_ && !oneIn(4)
                           ? boost::json::object{{"deviceid", address}, {"gid", "G"}, {"tsid", "T"}}
                           : boost::json::object{{"deviceid", address}};
        return areWell_ ? entry : behaving(std::move(entry));
    }

    ReceiverEntry behaving(ReceiverEntry entry) {
        entry["discoveryDelay"] = of({0, 0, 0, 0.3, 4.8, 6});
        entry["connectDelay"] = of({0, 0, 0.2, 1, 4, 15});
        entry["disconnectDelay"] = of({0, 0, 0, 0.5, 1.9, 3});
        entry["volume"] = volume();
        if (oneIn(4)) {
            askForSecret(entry);
        } else if (oneIn(4)) {
            misbehave(entry);
        }
        return entry;
    }

    void askForSecret(ReceiverEntry& entry) {
        boost::json::array answers;
        for (int wrong = below(3); wrong > 0; --wrong) {
            answers.push_back(boost::json::object{{"after", of({0, 0.5, 3})}, {"text", "wrong"}});
        }
        boost::json::object last{{"after", of({0, 0.5, 2, 30})}};
        if (oneIn(3)) {
            last["dismiss"] = true;
        } else {
            last["text"] = "right";
        }
        answers.push_back(std::move(last));
        entry[oneIn(2) ? "code" : "password"] = "right";
        entry["answers"] = std::move(answers);
    }

    void misbehave(ReceiverEntry& entry) {
        switch (below(6)) {
            case 0:
                entry["outcome"] = "refuses";
                break;
            case 1:
                entry["outcome"] = "never";
                break;
            case 2:
                entry["outcome"] = "vanishes";
                break;
            case 3:
                entry["connectsAs"] = boost::json::object{{"name", "Somebody"}};
                break;
            default:
                entry["lostAfter"] = of({0, 0.3, 7, 20});
                break;
        }
    }

    Ask ask() {
        Ask ask;
        if (oneIn(4)) {
            return ask; // for none
        }
        ask.receivers.push_back(anyReceiver());
        if (oneIn(6)) {
            ask.receivers.push_back(anyReceiver());
        }
        return ask;
    }

    Play play() {
        Play play{.seconds = of({2, 8, 20, 40, 40}), .stretch = 0, .pause = 0, .partsPerMillion = 0};
        if (oneIn(3)) {
            play.stretch = of({0.5, 2, 5});
            play.pause = of({0.05, 0.5, 2.9, 3.5, 12});
        } else if (oneIn(3)) {
            play.partsPerMillion = of({-300, -100, 100, 300});
        }
        return play;
    }

    Action action() {
        switch (below(32)) {
            case 0:
                return AskForNonsense{};
            case 1:
                return Flood{oneIn(6) ? 2000 : 5};
            case 2:
                return oneIn(4) ? Action(ParentDies{oneIn(2)}) : Action(ask());
            case 3:
            case 4:
                return Leave{anyReceiver()};
            case 5:
            case 6:
            case 7: {
                const std::int32_t receiver = anyReceiver();
                return Become{receiver, become(receiver)};
            }
            case 8:
            case 9:
                return TurnKnob{anyReceiver(), volume()};
            case 10:
                return SetVolume{anyReceiver(), volume()};
            case 11:
                return SetMuted{anyReceiver(), oneIn(2)};
            case 12:
                return MuteSource{oneIn(2)};
            case 13:
                return SetLatency{of({0.5, 1, 2, 3})};
            case 14:
                return oneIn(3) ? Action(ResetSettings{}) : Action(SetLatency{of({0.5, 1})});
            case 15:
                return StopPlayer{};
            case 16:
            case 17:
                return UserPlays{oneIn(2)};
            case 18:
            case 19:
                return LateWake{of({0.05, 0.3, 1})};
            case 20:
                return StepWallClock{of({-3600, 3600, -1, 130})};
            case 21:
            case 22:
            case 23:
            case 24:
            case 25:
                return play();
            default:
                return ask();
        }
    }

    ReceiverEntry become(std::int32_t receiver) {
        ReceiverEntry entry;
        for (const char* key : {"name", "id", "txt"}) {
            entry[key] = entries_[static_cast<std::size_t>(receiver)].at(key);
        }
        return oneIn(2) ? entry : behaving(std::move(entry));
    }

    std::mt19937_64 random_;
    bool isGrouped_ = false;
    bool areWell_ = false; // the receivers, at first
    int count_ = 0;
    std::vector<ReceiverEntry> entries_;
};

} // namespace

World drawWorld(std::uint64_t seed) { return Draw(seed).world(); }

} // namespace orbsim
