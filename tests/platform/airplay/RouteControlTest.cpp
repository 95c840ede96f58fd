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
    using Note = std::function<void(std::string)>;

    Screen(PromptedUser& user, Note note) : user_(user), note_(std::move(note)) {}

    std::unique_ptr<Alert> askForSecret(SecretRequest request,
                                        std::function<void(std::optional<Secret> answer)> answered) override {
        note_(fmt::format("{} asks {}{}", request.name,
                          request.kind == SecretKind::password ? "password" : "code",
                          request.wasWrong ? " again" : ""));
        auto alert = std::make_unique<Shown>(note_);
        user_.asked(request, [present = std::weak_ptr(alert->open), answered](std::optional<Secret> answer) {
            if (const auto open = present.lock(); open && std::exchange(*open, false))
                answered(std::move(answer));
        });
        return alert;
    }

    std::unique_ptr<Alert> tellFailure(std::string name, std::function<void()>) override {
        note_(name + " failed");
        return std::make_unique<Shown>(note_);
    }

  private:
    struct Shown final : public Alert {
        explicit Shown(Note noteToUse) : note(std::move(noteToUse)) {}
        ~Shown() override {
            if (*open)
                note("alert taken away");
        }
        const Note note;
        const std::shared_ptr<bool> open = std::make_shared<bool>(true);
    };

    PromptedUser& user_;
    const Note note_;
};

/// The receivers of a file, those in its first group being connected to a route.
struct World {
    explicit World(const std::string& receivers) {
        foundation::writeFile(directory / "r.json", R"({"version":1,"receivers":[)" + receivers + "]}");
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
        for (const auto& receiver : route->receivers())
            text += " " + receiver->description()->name;
        if (std::exchange(lastState, text) != text)
            note(text);
    }

    std::string leader() const { return file->receivers().front()->description()->identifier; }
    ReceiverGroup group() const {
        return groupsOf({file->receivers().begin(), file->receivers().end()}).front();
    }

    void connect() { control->connect(group(), this); }
    void disconnect() { control->disconnect(leader()); }
    void giveUp() { control->giveUp(this); }
    void giveUpAsAnother() { control->giveUp(nullptr); }
    void connectLastElsewhere() { otherControl->connect({{file->receivers().back()}}, this); }
    void end() {
        control.reset();
        note(fmt::format("{} in the route", route->receivers().size()));
    }

    const foundation::TemporaryDirectory directory;
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

struct Scenario {
    const char* name;
    const char* receivers; ///< "#n" stands for name and id
    std::vector<std::pair<dispatch::Nanoseconds, void (World::*)()>> steps;
    Journal journal;
};

std::string withNames(std::string receivers) {
    for (std::size_t at = receivers.find('#'); at != receivers.npos; at = receivers.find('#')) {
        const char letter = receivers[at + 1];
        receivers.replace(at, 2, fmt::format(R"("name":"{0}","id":"00:00:00:00:00:0{0}")", letter));
    }
    return receivers;
}

const std::vector<Scenario> scenarios = {
    {"the script begins anew with each attempt, and an attempt anew ends the old question",
     R"({#A, "code":"1", "answers":[{"after":2,"text":"2"},{"after":2,"text":"1"}]})",
     {{0s, &World::connect}, {3s, &World::connect}},
     {"0: connecting", "0: A asks code", "2: A asks code again", "3: alert taken away", "3: A asks code",
      "5: A asks code again", "7: connected A"}},
    {"given up while asking: a later answer is nobody's",
     R"({#A, "code":"1", "answers":[{"after":5,"text":"1"}]})",
     {{0s, &World::connect}, {2s, &World::giveUp}},
     {"0: connecting", "0: A asks code", "2: alert taken away", "2: disconnected"}},
    {"refuses: the alert stays until connected anew or given up",
     R"({#A, "outcome":"refuses", "connectDelay":0.5})",
     {{0s, &World::connect}, {2s, &World::disconnect}, {3s, &World::connect}, {9s, &World::giveUp}},
     {"0: connecting", "0.5: A failed", "0.5: disconnected", "3: alert taken away", "3: connecting",
      "3.5: A failed", "3.5: disconnected", "9: alert taken away"}},
    {"never",
     R"({#A, "outcome":"never"})",
     {{0s, &World::connect}, {10s, &World::giveUpAsAnother}, {20s, &World::giveUp}},
     {"0: connecting", "20: disconnected"}},
    {"connected while connected: nothing; connected while leaving: out at once and in again",
     R"({#A, "connectDelay":1, "disconnectDelay":3})",
     {{0s, &World::connect},
      {2s, &World::connect},
      {5s, &World::giveUp},
      {5s, &World::disconnect},
      {6s, &World::connect},
      {10s, &World::end}},
     {"0: connecting", "1: connected A", "5: disconnected A", "6: connecting", "7: connected A",
      "10: 0 in the route"}},
    {"followers come after the leader, without a question, and leave in their own time",
     R"({#A, "txt":{"gid":"g"}, "connectDelay":1},
                    {#B, "txt":{"gid":"h"}},
                    {#C, "txt":{"gid":"g"}, "connectDelay":2, "disconnectDelay":2},
                    {#D, "txt":{"gid":"g"}, "outcome":"refuses"},
                    {#E, "txt":{"gid":"g"}, "code":"1"},
                    {#F, "txt":{"gid":"g"}, "connectDelay":1, "lostAfter":5})",
     {{0s, &World::connect}, {9s, &World::disconnect}},
     {"0: connecting", "1: connected A", "2: connected A F", "3: connected A F C", "7: connected A C",
      "9: disconnected A C", "9: disconnected C", "11: disconnected"}},
    {"the leader's loss is the group's, also of one still coming",
     R"({#A, "txt":{"gid":"g"}, "lostAfter":4}, {#B, "txt":{"gid":"g"}, "disconnectDelay":1},
                    {#C, "txt":{"gid":"g"}, "connectDelay":5})",
     {{0s, &World::connect}},
     {"0: connecting", "0: connected A", "0: connected A B", "4: disconnected B", "5: disconnected"}},
    {"a leader that is taken takes its group along",
     R"({#A, "connectDelay":1})",
     {{0s, &World::connect}, {2s, &World::connectLastElsewhere}, {9s, &World::disconnect}},
     {"0: connecting", "1: connected A", "3: disconnected"}}};

TEST(RouteControlTest, everyStepComesAtItsTime) {
    for (const Scenario& scenario : scenarios) {
        World world(withNames(scenario.receivers));
        for (const auto& [at, act] : scenario.steps) {
            world.realm.advanceBy(at - (world.realm.clock().now() - world.start));
            world.main.sync([&, act = act] { (world.*act)(); });
        }
        world.realm.advanceBy(1h);
        EXPECT_EQ(world.journal, scenario.journal) << scenario.name;
    }
}

} // namespace
} // namespace airplay
