// SPDX-License-Identifier: MIT
#include "ORBRouteService/ipc/ReplyInterpretation.h"

#include "ORBRouteService/ipc/IPCCancellationError.h"
#include "ORBRouteService/ipc/IPCError.h"
#include "ORBRouteService/ipc/ORBDeviceConnectionError.h"
#include "ORBRouteService/ipc/ORBUpdateDevicesReply.h"
#include "ORBRouteService/picker/waiting/OperationTimeout.h"

#include "platform/dispatch/Task.h"

#include <gtest/gtest.h>

#include <vector>

namespace orb {
namespace {

/// The type and text of what the sender of the request gets.
template <typename R>
std::string outcome(const std::string& payload) {
    try {
        interpretReply<R>(foundation::Data{payload});
        return "reply";
    } catch (const ORBDeviceConnectionError& error) {
        return "connection: " + describe(error);
    } catch (const IPCError& error) {
        return "ipc: " + describe(error);
    } catch (const OperationTimeout& error) {
        return "timeout: " + describe(error);
    } catch (const dispatch::CancellationError& error) {
        return "cancelled";
    } catch (const foundation::DecodingError& error) {
        return describe(error);
    }
}

constexpr const char* connection = R"("noPickerWindow":{})";
constexpr const char* ipc = R"("error":"e","uuid":"3F2504E0-4F89-41D3-9A0C-0305E82C3301")";
constexpr const char* timeout = R"("operationTimedOut":{"operation":"op"})";

std::string object(std::initializer_list<std::string> members) {
    std::string text = "{";
    for (const std::string& member : members)
        text += (text.size() > 1 ? "," : "") + member;
    return text + "}";
}

TEST(ReplyInterpretationTest, aReplyGoesBeforeAnyErrorAndErrorsGoInTheirOrder) {
    using Reply = ORBUpdateDevicesReply;
    const std::string twoCases = object({connection, R"("alreadyConnecting":{})"});
    const std::vector<std::pair<std::string, std::string>> outcomes{
        {"[]", "reply"},
        {object({timeout, ipc, connection}), "connection: noPickerWindow"},
        {object({timeout, ipc}), "ipc: e"},
        {object({timeout}), "timeout: The operation “op” timed out."},
        {"{}", "cancelled"},
        {R"({"operationTimedOut":{}})", "cancelled"},
        {twoCases, "cancelled"},
        {R"([{"data":1}])", "type mismatch at [0].data: Expected a text, found an integer."},
    };
    for (const auto& [payload, wanted] : outcomes)
        EXPECT_EQ(outcome<Reply>(payload), wanted) << payload;
    EXPECT_TRUE(outcome<Reply>("{} x").starts_with("data corrupted: Not a JSON text: "));
}

TEST(ReplyInterpretationTest, anErrorsFormIsTheReplyOfWhoeverAskedForOne) {
    EXPECT_EQ(outcome<IPCCancellationError>("{}"), "reply");
    EXPECT_EQ(outcome<IPCCancellationError>(object({connection})), "reply");
    EXPECT_EQ(outcome<OperationTimeout>(object({connection, timeout})), "reply");
    EXPECT_EQ(interpretReply<IPCError>(foundation::Data{object({ipc})}).error(), "e");
}

} // namespace
} // namespace orb
