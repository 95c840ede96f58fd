// SPDX-License-Identifier: MIT
#include "platform/airplay/RouteControl.h"

#include "platform/airplay/embedded/ScriptedUser.h"
#include "platform/dispatch/virtual/VirtualRealm.h"
#include "tests/platform/airplay/Recordings.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace airplay {
namespace {

using namespace std::chrono_literals;
using Journal = std::vector<std::string>;

/// A screen that shows alerts to a user and notes them.
class Screen final : public UserAlerts {
  public:
    Screen(PromptedUser& user, std::function<void(std::string)> note) : user_(user), note_(std::move(note)) {}

    std::unique_ptr<Alert> askForSecret(SecretRequest request,
                                        std::function<void(std::optional<Secret> answer)> answered) override {
        note_(fmt::format("{} asks {}{}", request.name,
                          request.kind == SecretKind::password ? "password" : "code",
                          request.wasWrong ? " again" : ""));
        auto alert = std::make_unique<Shown>(note_);
        user_.asked(request, [present = alert->present(), answered](std::optional<Secret> answer) {
            if (const auto open = present.lock(); open && std::exchange(*open, false)) {
                answered(std::move(answer));
            }
        });
        return alert;
    }

    std::unique_ptr<Alert> tellFailure(std::string name, std::function<void()> acknowledged) override {
        note_(name + " failed");
        auto alert = std::make_unique<Shown>(note_);
        acknowledge = [present = alert->present(), acknowledged] {
            if (const auto open = present.lock(); open && std::exchange(*open, false)) {
                acknowledged();
            }
        };
        return alert;
    }

    std::function<void()> acknowledge = [] {}; ///< the failure that was told last

  private:
    class Shown final : public Alert {
      public:
        explicit Shown(std::function<void(std::string)> note) : note_(std::move(note)) {}
        ~Shown() override {
            if (*open_) {
                note_("alert taken away");
            }
        }
        std::weak_ptr<bool> present() const { return open_; }

      private:
        const std::function<void(std::string)> note_;
        const std::shared_ptr<bool> open_ = std::make_shared<bool>(true);
    };

    PromptedUser& user_;
    const std::function<void(std::string)> note_;
};

/// The receivers of a file, those in its first group being connected to a route.
struct World {
    explicit World(const std::string& receivers) {
        std::ofstream(directory / "r.json") << R"({"version":1,"receivers":[)" << receivers << "]}";
        file.emplace(directory / "r.json",
                     EmbeddedReceiver::Surroundings{.mainQueue = main, .report = [](const auto&) {}});
        user.emplace(*file, main);
        screen.emplace(*user, [this](const std::string& line) { note(line); });
        control = std::make_unique<RouteControl>(main, *route, &*screen);
        changes = control->observe([this] { noteState(); });
    }
    ~World() {
        main.sync([this] { control.reset(), otherControl.reset(); });
    }

    /// "time since the beginning: what"
    void note(const std::string& what) {
        journal.push_back(fmt::format("{}: {}", dispatch::toSeconds(realm.clock().now() - start), what));
    }

    void noteState() {
        static constexpr std::array states{"disconnected", "connecting", "connected"};
        std::string text = states.at(static_cast<std::size_t>(control->state(leader())));
        for (const auto& receiver : route->receivers()) {
            text += " " + receiver->description()->name;
        }
        if (std::exchange(lastState, text) != text) {
            note(text);
        }
    }

    std::string leader() const { return file->receivers().front()->description()->identifier; }
    ReceiverGroup group() const {
        return groupsOf({file->receivers().begin(), file->receivers().end()}).front();
    }

    void connect() { control->connect(group(), this); }
    void disconnect() { control->disconnect(leader()); }
    void giveUp() { control->giveUp(this); }
    void giveUpAsAnother() { control->giveUp(nullptr); }
    void acknowledge() { screen->acknowledge(); }
    void connectLastElsewhere() { otherControl->connect({{file->receivers().back()}}, this); }
    void withNobodyToAsk() { control = std::make_unique<RouteControl>(main, *route, nullptr); }
    void end() {
        control.reset();
        note(fmt::format("{} in the route", route->receivers().size()));
    }

    const TemporaryDirectory directory;
    dispatch::VirtualRealm realm;
    dispatch::Queue& main = realm.mainQueue();
    const dispatch::HostTime start = realm.clock().now();
    PlaybackSystem system{realm, [](const auto&) {}};
    std::unique_ptr<Route> route = system.makeRoute();
    const std::unique_ptr<Route> otherRoute = system.makeRoute();
    std::optional<EmbeddedReceivers> file;
    std::optional<ScriptedUser> user;
    std::optional<Screen> screen;
    Journal journal;
    std::string lastState;
    std::unique_ptr<RouteControl> control;
    std::unique_ptr<RouteControl> otherControl = std::make_unique<RouteControl>(main, *otherRoute, nullptr);
    foundation::Subscription changes;
};

struct Step {
    dispatch::Nanoseconds at;
    void (World::*act)();
};

struct Scenario {
    const char* name;
    const char* receivers; ///< "#n" stands for name and id
    std::vector<Step> steps;
    Journal journal;
};

void PrintTo(const Scenario& scenario, std::ostream* stream) { *stream << scenario.name; }

std::string withNames(std::string receivers) {
    for (std::size_t at = receivers.find('#'); at != receivers.npos; at = receivers.find('#')) {
        const char letter = receivers[at + 1];
        receivers.replace(at, 2, fmt::format(R"("name":"{0}","id":"00:00:00:00:00:0{0}")", letter));
    }
    return receivers;
}

class RouteControlTest : public testing::TestWithParam<Scenario> {};

TEST_P(RouteControlTest, everyStepComesAtItsTime) {
    World world(withNames(GetParam().receivers));
    for (const Step& step : GetParam().steps) {
        world.realm.advanceBy(step.at - (world.realm.clock().now() - world.start));
        world.main.sync([&] { (world.*step.act)(); });
    }
    world.realm.advanceBy(1h);
    EXPECT_EQ(world.journal, GetParam().journal);
}

INSTANTIATE_TEST_SUITE_P(
    All, RouteControlTest,
    testing::Values(
        Scenario{"a wrong answer, then the right one",
                 R"({#A, "password":"p", "connectDelay":0.5,
                     "answers":[{"after":2,"text":"x"},{"after":3,"text":"p"}]})",
                 {{0s, &World::connect}},
                 {"0: connecting", "0: A asks password", "2: A asks password again", "5.5: connected A"}},
        Scenario{"the script begins anew with each attempt, and an attempt anew ends the old question",
                 R"({#A, "code":"1", "answers":[{"after":2,"text":"2"},{"after":2,"text":"1"}]})",
                 {{0s, &World::connect}, {3s, &World::connect}},
                 {"0: connecting", "0: A asks code", "2: A asks code again", "3: alert taken away",
                  "3: A asks code", "5: A asks code again", "7: connected A"}},
        Scenario{"dismissed: no word of failure",
                 R"({#A, "code":"1", "answers":[{"after":1,"dismiss":true}]})",
                 {{0s, &World::connect}},
                 {"0: connecting", "0: A asks code", "1: disconnected"}},
        Scenario{"nobody to ask",
                 R"({#A, "code":"1"})",
                 {{0s, &World::withNobodyToAsk}, {0s, &World::connect}, {1s, &World::noteState}},
                 {"1: disconnected"}},
        Scenario{"given up while asking: a later answer is nobody's",
                 R"({#A, "code":"1", "answers":[{"after":5,"text":"1"}]})",
                 {{0s, &World::connect}, {2s, &World::giveUp}},
                 {"0: connecting", "0: A asks code", "2: alert taken away", "2: disconnected"}},
        Scenario{
            "refuses: the alert stays until connected anew or given up",
            R"({#A, "outcome":"refuses", "connectDelay":0.5})",
            {{0s, &World::connect}, {2s, &World::disconnect}, {3s, &World::connect}, {9s, &World::giveUp}},
            {"0: connecting", "0.5: A failed", "0.5: disconnected", "3: alert taken away", "3: connecting",
             "3.5: A failed", "3.5: disconnected", "9: alert taken away"}},
        Scenario{"acknowledged: nothing is left to give up",
                 R"({#A, "outcome":"refuses"})",
                 {{0s, &World::connect}, {1s, &World::acknowledge}, {2s, &World::giveUp}},
                 {"0: connecting", "0: A failed", "0: disconnected"}},
        Scenario{"never",
                 R"({#A, "outcome":"never"})",
                 {{0s, &World::connect}, {10s, &World::giveUpAsAnother}, {20s, &World::giveUp}},
                 {"0: connecting", "20: disconnected"}},
        Scenario{"vanishes: no word of failure",
                 R"({#A, "outcome":"vanishes", "connectDelay":2})",
                 {{0s, &World::connect}},
                 {"0: connecting", "2: disconnected"}},
        Scenario{"another turns up, and is what leaves",
                 R"({#A, "connectDelay":1, "connectsAs":{"name":"Other"}, "disconnectDelay":1})",
                 {{0s, &World::connect}, {5s, &World::disconnect}},
                 {"0: connecting", "1: connected Other", "5: disconnected Other", "6: disconnected"}},
        Scenario{"connected while connected: nothing; connected while leaving: out at once and in again",
                 R"({#A, "connectDelay":1, "disconnectDelay":3})",
                 {{0s, &World::connect},
                  {2s, &World::connect},
                  {5s, &World::giveUp},
                  {5s, &World::disconnect},
                  {6s, &World::connect},
                  {10s, &World::end}},
                 {"0: connecting", "1: connected A", "5: disconnected A", "6: connecting", "7: connected A",
                  "10: 0 in the route"}},
        Scenario{"followers come after the leader, without a question, and leave in their own time",
                 R"({#A, "txt":{"gid":"g"}, "connectDelay":1},
                    {#B, "txt":{"gid":"h"}},
                    {#C, "txt":{"gid":"g"}, "connectDelay":2, "disconnectDelay":2},
                    {#D, "txt":{"gid":"g"}, "outcome":"refuses"},
                    {#E, "txt":{"gid":"g"}, "code":"1"},
                    {#F, "txt":{"gid":"g"}, "connectDelay":1, "lostAfter":5})",
                 {{0s, &World::connect}, {9s, &World::disconnect}},
                 {"0: connecting", "1: connected A", "2: connected A F", "3: connected A F C",
                  "7: connected A C", "9: disconnected A C", "9: disconnected C", "11: disconnected"}},
        Scenario{
            "the leader's loss is the group's, also of one still coming",
            R"({#A, "txt":{"gid":"g"}, "lostAfter":4}, {#B, "txt":{"gid":"g"}, "disconnectDelay":1},
                    {#C, "txt":{"gid":"g"}, "connectDelay":5})",
            {{0s, &World::connect}},
            {"0: connecting", "0: connected A", "0: connected A B", "4: disconnected B", "5: disconnected"}},
        Scenario{"one that is taken by another route leaves the group alone",
                 R"({#A, "txt":{"gid":"g"}}, {#B, "txt":{"gid":"g"}, "connectDelay":1, "lostAfter":9})",
                 {{0s, &World::connect}, {2s, &World::connectLastElsewhere}, {20s, &World::disconnect}},
                 {"0: connecting", "0: connected A", "1: connected A B", "3: connected A",
                  "20: disconnected A", "20: disconnected"}},
        Scenario{"a leader that is taken takes its group along",
                 R"({#A, "connectDelay":1})",
                 {{0s, &World::connect}, {2s, &World::connectLastElsewhere}, {9s, &World::disconnect}},
                 {"0: connecting", "1: connected A", "3: disconnected"}}));

} // namespace
} // namespace airplay
