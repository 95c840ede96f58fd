// SPDX-License-Identifier: MIT
#include "ORBRouteService/ipc/IPCMessage.h"
#include "ORBRouteService/ipc/ORBDeviceConnectionError.h"
#include "platform/foundation/TemporaryDirectory.h"
#include "platform/foundation/ports/MessageFrames.h"
#include "platform/lmn/LMNDeviceArchive.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include <algorithm>
#include <regex>
#include <set>

/// What docs/PROTOCOL.md shows byte for byte is what is sent.
namespace orb {
namespace {

using foundation::Data;
using testing::HasSubstr;

const std::string page = foundation::readFile(HOUSE_SOURCE_DIR "/docs/PROTOCOL.md");

TEST(ProtocolPageTest, theConnectionErrorsAreThoseOfTheTable) {
    const std::regex row(R"(\| (\d+) \| `(\w+)` \| *(.*?) *\| (.*) \|)");
    const std::string device = R"({"data":"","name":"…"})"; // the texts of the page are those of this one
    std::set<std::string> cases;
    for (std::sregex_iterator found(page.begin(), page.end(), row), end; found != end; ++found) {
        const std::string fields =
            std::regex_replace((*found)[3].str(), std::regex("`(\\w+)`"), "\"$1\":" + device);
        const std::string form = fmt::format(R"({{"{}":{{{}}}}})", (*found)[2].str(), fields);
        const auto error = foundation::decodeJSON<ORBDeviceConnectionError>(form);
        EXPECT_EQ(boost::json::parse(foundation::encodeJSON(error)), boost::json::parse(form));
        EXPECT_EQ(std::to_string(error.errorCode()), (*found)[1].str());
        EXPECT_EQ(error.errorDescription(), (*found)[4].str());
        EXPECT_EQ(error.errorUserInfo().at("NSLocalizedDescription"), (*found)[4].str());
        cases.insert((*found)[2].str());
    }
    EXPECT_EQ(cases.size(), 18U);
}

TEST(ProtocolPageTest, theBytesShownAreThoseOfTheEnvelopes) {
    const auto uuid = foundation::UUID::fromString("3F2504E0-4F89-41D3-9A0C-0305E82C3301").value();
    for (const char* const payload : {R"({"updateDevices":{"devices":[]}})", "[]"}) {
        const std::string envelope = foundation::encodeJSON(IPCMessage(Data{payload}, uuid));
        std::string bytes;
        for (const char byte :
             std::string(foundation::messagePreface) + foundation::messageHeader(0, envelope.size())) {
            bytes += fmt::format("{:02X} ", byte);
        }
        bytes.insert(24, " "); // between the preface and the header
        EXPECT_THAT(page, HasSubstr(fmt::format("{}  ORBPORT1, {} bytes, message id 0, and then\n{}\n", bytes,
                                                envelope.size(), envelope)));
    }
}

TEST(ProtocolPageTest, theDeviceShownIsTheArchiveShown) {
    std::string unbroken = page;
    std::erase(unbroken, '\n');
    const lmn::LMNVirtualDeviceConfig config{.name = "Kitchen",
                                             .deviceUID = "com.fernwick.Orbweaver::A1:B2:C3:D4:E5:F6",
                                             .hidden = true,
                                             .isAirPlay = true,
                                             .inputChannels = 2,
                                             .outputChannels = 2};
    const Data archive{boost::json::serialize(lmn::archiveOf(config))};
    EXPECT_THAT(unbroken, HasSubstr(foundation::encodeJSON(LMNDeviceCodable{archive, "Kitchen"})));
    EXPECT_THAT(page, HasSubstr(fmt::format("{} bytes) gives", archive.bytes.size())));
}

} // namespace
} // namespace orb
