// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/picker/PickerWorld.h"

#include <fmt/ranges.h>
#include <gmock/gmock.h>

#include <random>

namespace orb {
namespace {

using testing::AnyOf;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

/// Receivers and requests drawn from a seed.
class Draw {
  public:
    explicit Draw(std::uint64_t seed) : random_(seed) {}

    int below(int count) { return std::uniform_int_distribution(0, count - 1)(random_); }
    bool oneIn(int count) { return below(count) == 0; }
    double of(std::initializer_list<double> values) {
        return values.begin()[below(static_cast<int>(values.size()))];
    }

    /// A receiver that answers, or does not, within the time that is waited for it.
    std::string receiver(int number) {
        std::string text = fmt::format(
            R"({{"name": "{}", "id": "A1:00:00:00:00:0{}", "discoveryDelay": {}, "disconnectDelay": {}, "connectDelay": {})",
            oneIn(8) ? "Kitchen" : names[number], number, of({0, 0, 0.3, 4.8, 6}), of({0, 0, 0.5, 1.9, 3}),
            of({0, 0.2, 1, 4, 15}));
        if (oneIn(3)) {
            text += fmt::format(R"(, "txt": {{"deviceid": "A1:00:00:00:00:0{}"}})", number);
        } else if (oneIn(3)) {
            text += R"(, "txt": {"gid": "G", "tsid": "T"})";
        }
        text += oneIn(3) ? question() : oneIn(3) ? trouble() : "";
        return text + "}";
    }

    static constexpr const char* names[] = {"Kitchen", "Bath", "Küche “Süd”", "Hall"};

  private:
    std::string question() {
        std::string answers;
        for (int wrong = below(3); wrong > 0; --wrong) {
            answers += fmt::format(R"({{"after": {}, "text": "wrong"}}, )", of({0, 0.5, 3}));
        }
        const double after = of({0, 0.5, 2, 30});
        answers += oneIn(2) ? fmt::format(R"({{"after": {}, "dismiss": true}})", after)
                            : fmt::format(R"({{"after": {}, "text": "right"}})", after);
        answers += oneIn(2) ? R"(, {"after": 1, "dismiss": true})" : "";
        return fmt::format(R"(, "{}": "right", "answers": [{}])", oneIn(2) ? "code" : "password", answers);
    }

    std::string trouble() {
        switch (below(6)) {
            case 0:
                return R"(, "outcome": "refuses")";
            case 1:
                return R"(, "outcome": "never")";
            case 2:
                return R"(, "outcome": "vanishes")";
            case 3:
                return fmt::format(R"(, "lostAfter": {})", of({0, 0.3, 7}));
            case 4:
                return R"(, "connectsAs": {"name": "Somebody"})";
            default:
                return R"(, "connectsAs": {"id": "B2:00:00:00:00:09"})";
        }
    }

    std::mt19937_64 random_;
};

/// One world and the requests made in it.
class RandomWorld {
  public:
    explicit RandomWorld(std::uint64_t seed) : draw_(seed), count_(1 + draw_.below(4)), world_(receivers()) {
        if (draw_.oneIn(2)) {
            world_.realm.setTimerLateness(std::chrono::microseconds(10));
        }
        for (int number = 0; number < count_; ++number) {
            devices_.push_back(world_.device(
                {.name = Draw::names[number], .address = fmt::format("A1:00:00:00:00:0{}", number)}));
        }
    }

    void run() {
        for (int request = 0; request < 5; ++request) {
            make(draw_.below(6));
            if (draw_.oneIn(2)) {
                judgeClosedWindow();
                world_.open();
            }
        }
        judgeClosedWindow();
        world_.open();
    }

  private:
    std::string receivers() {
        std::vector<std::string> entries;
        for (int number = 0; number < count_; ++number) {
            entries.push_back(draw_.receiver(number));
        }
        return fmt::format("{}", fmt::join(entries, ",\n"));
    }

    void make(int kind) {
        const auto& device = devices_[static_cast<std::size_t>(draw_.below(count_))];
        if (kind == 0) {
            judge(world_.deselectAll(), 0.01);
        } else if (kind == 1) {
            judge(world_.deselect(device), 2.1 + 0.01);
        } else if (kind == 2) {
            world_.write(receivers()); // other receivers, as they please
        } else {
            const auto ending = world_.select(device);
            if (draw_.oneIn(4)) {
                world_.run(draw_.of({0.1, 1, 10}));
                world_.onMain([&] { world_.tasks.cancel(); });
            }
            // 5 s for the box, 20.5 s for the device or three questions and 2.5 s after them, 5 s for its
            // name
            judge(ending, 5.1 + 20.5 + 36 + 2.5 + 5.1);
            EXPECT_FALSE(world_.window->connectionInProgress());
        }
    }

    void judge(const std::shared_ptr<Ending>& ending, double bound) {
        const Ending ended = world_.finish(ending);
        EXPECT_LE(ended.seconds, bound) << ended.outcome;
        EXPECT_THAT(ended.outcome,
                    AnyOf("done", "cancelled", "Kitchen", "Bath", "Küche “Süd”", "Hall", "Somebody",
                          "connectionRejectectedMessage", StartsWith("The operation “"),
                          StartsWith("passwordRequired"), StartsWith("timeoutWaitingForDevice"),
                          StartsWith("deviceNotFoundInContext"), StartsWith("deviceWithMatchingFeatures")));
        if (ended.outcome == "connectionRejectectedMessage") {
            EXPECT_THAT(world_.alerts(), Not(testing::Contains(StartsWith("Could not connect to"))));
        }
    }

    void judgeClosedWindow() {
        std::weak_ptr<ORBPickerWindow> window = world_.window;
        world_.close();
        EXPECT_TRUE(window.expired());
        world_.run(60); // nothing that was begun comes afterwards
        EXPECT_THAT(world_.alerts(), IsEmpty());
        EXPECT_EQ(world_.tasks.running(), 0U);
        EXPECT_EQ(world_.airPlay->workspace().runningApplications().size(), 0U);
    }

    Draw draw_;
    const int count_;
    PickerWorld world_;
    std::vector<std::shared_ptr<lmn::LMNDevice>> devices_;
};

TEST(RandomWorldTest, everyRequestEndsWithinItsBoundAndLeavesNothingBehind) {
    constexpr std::uint64_t seeds = 40;
    for (std::uint64_t seed = 1; seed <= seeds && !HasFailure(); ++seed) {
        SCOPED_TRACE(fmt::format("seed {}", seed));
        RandomWorld(seed).run();
    }
}

} // namespace
} // namespace orb
