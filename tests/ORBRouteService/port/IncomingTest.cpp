// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/port/PortWorld.h"

#include <gmock/gmock.h>

/// What arrives at this end, and what becomes of it.
namespace orb::test {
namespace {

using testing::SizeIs;
using namespace std::string_literals;

constexpr const char* update = R"({"updateDevices":{"devices":[]}})";

class IncomingTest : public PortTest {
  public:
    IncomingTest() { connect(); }

    /// What the service writes to standard output meanwhile.
    std::string printedFor(const std::string& payload) {
        testing::internal::CaptureStdout();
        parent.sendPayload(payload);
        realm.settle();
        return testing::internal::GetCapturedStdout();
    }

    /// The text of the one notice that came, which answers no request.
    std::string notice() {
        const IPCMessage message = parent.last();
        const IPCError error = foundation::decodeJSON<IPCError>(message.payload().bytes);
        EXPECT_NE(error.uuid(), message.uuid());
        return error.error();
    }
};

TEST_F(IncomingTest, anUnreadableEnvelopeIsAnsweredByANoticeAndTheNextOneIsRead) {
    const std::string uuid = R"("uuid":"3F2504E0-4F89-41D3-9A0C-0305E82C3301")";
    for (const std::string& text : {std::string(), R"({"payload":"e30="})"s, "{" + uuid + "}",
                                    R"({"payload":"e3 0=",)" + uuid + "}", std::string(10000, '[')}) {
        const std::size_t before = parent.received.size();
        parent.send(text);
        realm.settle();
        ASSERT_THAT(parent.received, SizeIs(before + 1)) << text.substr(0, 80);
        EXPECT_NE(notice(), "");
    }
    parent.send(R"({"extra":[],"uuid":"3f2504e0-4f89-41d3-9a0c-0305e82c3301","payload":")"
                "eyJ1cGRhdGVEZXZpY2VzIjp7ImRldmljZXMiOltdfX0=\"}",
                -1);
    realm.settle();
    EXPECT_EQ(handled, 1) << "whatever its message id";
    EXPECT_EQ(parent.last().payload().bytes, R"("fine")");
}

TEST_F(IncomingTest, errorsThatNobodyAskedForArePrintedAndTheRestIsDropped) {
    EXPECT_EQ(printedFor(R"({"passwordRequired":{"device":{"data":"","name":"Kitchen"}}})"),
              "got ORBDeviceConnectionError error: passwordRequired(device: Kitchen)\n");
    EXPECT_EQ(printedFor(R"({"error":"it broke","uuid":"3F2504E0-4F89-41D3-9A0C-0305E82C3301"})"),
              "got IPC Error: it broke\n");
    for (const std::string& junk :
         {std::string("no JSON"), std::string("{}"), std::string(10000, '['), std::string(10 << 20, 'x')}) {
        EXPECT_EQ(printedFor(junk), "");
    }
    answerValue.reset();
    EXPECT_EQ(printedFor(update), "") << "a request that is answered with nothing is not printed";
    EXPECT_EQ(handled, 1);
    EXPECT_THAT(parent.received, testing::IsEmpty());
}

TEST_F(IncomingTest, aFailedHandlerSendsANoticeThatAnswersNoRequestUnlessThePortIsInvalid) {
    answerDelay = 1s;
    answerFailure.emplace("the lamp went out");
    const IPCMessage request(foundation::Data{update});
    parent.send(foundation::encodeJSON(request));
    realm.advanceBy(2s);
    EXPECT_EQ(notice(), "the lamp went out");
    EXPECT_NE(parent.last().uuid(), request.uuid());
    parent.sendPayload(update);
    realm.settle();
    onMain([this] { port->invalidate(); });
    realm.advanceBy(2s);
    EXPECT_FALSE(port->hasLocalPort()) << "it is revived";
    EXPECT_THAT(parent.received, SizeIs(1));
}

} // namespace
} // namespace orb::test
