// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/port/PortWorld.h"

#include <gmock/gmock.h>

#include <functional>

/// The requests that this end sends, and how they end.
namespace orb::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class RequestTest : public PortTest {
  public:
    RequestTest() { connect(); }

    void reply(const std::string& payload) { parent.sendPayload(payload, parent.last().uuid()); }
};

TEST_F(RequestTest, aReplyPayloadEndsTheRequestAsItSays) {
    struct Row {
        std::string payload;
        const char* outcome;
    };
    const std::string ipc = R"("error":"it broke","uuid":"3F2504E0-4F89-41D3-9A0C-0305E82C3301")";
    const std::string timeOut = R"json("operationTimedOut":{"operation":"x()"})json";
    const std::string connection = R"("noPickerWindow":{})";
    const Row rows[] = {
        {R"("well")", "reply well"},
        {"{" + timeOut + "," + ipc + "," + connection + "}", "noPickerWindow"}, // errors have an order
        {"{" + timeOut + "," + ipc + "}", "it broke"},
        {"{" + timeOut + "}", "The operation “x()” timed out."},
        {"{" + connection + R"(,"alreadyConnecting":{}})", "cancelled"},
        {R"({"operationTimedOut":{}})", "cancelled"},
        {"{}", "cancelled"},
        {"[]", "type mismatch: Expected a text, found an array."},
    };
    for (const Row& row : rows) {
        outcomes.clear();
        startAsking();
        EXPECT_EQ(parent.last().payload().bytes, R"({"updateDevices":{"devices":[]}})");
        reply(row.payload);
        realm.settle();
        EXPECT_THAT(outcomes, ElementsAre(row.outcome));
    }
    EXPECT_EQ(handled, 0);
}

TEST_F(RequestTest, timesOutATenthOfASecondAfterItsTimeOutAndWithoutOneNever) {
    startAsking();
    startAsking(dispatch::Seconds{5});
    realm.advanceBy(5100ms - 1ns);
    EXPECT_THAT(outcomes, IsEmpty());
    realm.advanceBy(1ns);
    EXPECT_THAT(outcomes, ElementsAre("messageTimeout"));
    realm.advanceBy(48h);
    EXPECT_EQ(requests.running(), 1U);
}

/// Each two of what may end a request, the one or the other first, and each one twice.
TEST_F(RequestTest, theFirstOfTwoEndsDecides) {
    struct End {
        const char* outcome;
        std::function<void()> begin;
    };
    const End ends[] = {
        {"reply well", [this] { reply(R"("well")"), realm.settle(); }},
        {"messageTimeout", [this] { realm.advanceBy(1100ms); }},
        {"cancelled", [this] { onMain([this] { requests.cancel(); }), realm.settle(); }},
        {"noRemoteConnection", [this] { onMain([this] { port->invalidate(); }), realm.settle(); }},
    };
    for (const End& first : ends) {
        for (const End& second : ends) {
            if (std::string_view(first.outcome) == "noRemoteConnection") {
                continue; // after an invalidation nothing more can come in
            }
            outcomes.clear();
            startAsking(dispatch::Seconds{1});
            first.begin();
            second.begin();
            EXPECT_THAT(outcomes, ElementsAre(first.outcome)) << "then " << second.outcome;
            EXPECT_EQ(requests.running(), 0U);
            EXPECT_EQ(realm.armedTimers(), 0U);
            onMain([this] { tasks.spawn(setUp()); });
            realm.settle();
        }
    }
}

/// Two ends that are both under way when the request hears of either.
TEST_F(RequestTest, ofTwoEndsAtOneInstantTheOneThatTookTheEntryDecides) {
    startAsking(dispatch::Seconds{1});
    realm.advanceBy(1100ms - 1ns);
    reply(R"("well")"); // lies in the socket until the clock's next step, which is the time-out's
    onMain([this] { requests.cancel(); });
    realm.advanceBy(1ns);
    EXPECT_THAT(outcomes, ElementsAre("cancelled"));
}

} // namespace
} // namespace orb::test
