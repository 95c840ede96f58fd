// SPDX-License-Identifier: MIT
#include "ORBRouteService/devices/DeviceRestoreError.h"
#include "ORBRouteService/devices/LMNDeviceCodable.h"
#include "ORBRouteService/devices/createDevice.h"

#include "platform/foundation/SharedInstance.h"
#include "tests/ORBRouteService/devices/DevicesFixture.h"
#include "tests/platform/foundation/coding/decodingFailure.h"

#include <cerrno>
#include <tuple>

namespace orb {
namespace {

using foundation::decodeJSON;
using foundation::encodeJSON;
using Shared = foundation::SharedInstance<lmn::LMNDeviceManager>;

class LMNDeviceCodableTest : public DevicesFixture {
  protected:
    static std::string restoreFailure(const LMNDeviceCodable& codable) {
        try {
            codable.toLMNDevice();
            return "restored";
        } catch (const DeviceRestoreError& error) {
            return error.what();
        }
    }
};

TEST_F(LMNDeviceCodableTest, itIsDescribedByItsNameElseByItsArchiveElseAsUnknown) {
    const std::string tagged = std::string("Hall [") + program_invocation_short_name + "]";
    const foundation::Data archive{manager.archiveFromConfig({.name = "Bath", .deviceUID = "bath"}, false)};
    EXPECT_EQ((LMNDeviceCodable{archive, {}}).description(), "Unknown Device") << "no manager";
    const Shared shared(manager);
    EXPECT_EQ(LMNDeviceCodable::from(*make({.name = tagged, .deviceUID = "hall"})).description(), "Hall");
    EXPECT_EQ((LMNDeviceCodable{archive, {}}).description(), "Bath");
    EXPECT_EQ((LMNDeviceCodable{archive, "Kitchen"}).description(), "Kitchen");
    EXPECT_EQ((LMNDeviceCodable{archive, ""}).description(), "");
    EXPECT_EQ((LMNDeviceCodable{foundation::Data{"none"}, {}}).description(), "Unknown Device");
}

TEST_F(LMNDeviceCodableTest, whatRestoresNothingIsToldByNameAndWithoutTheArchive) {
    const LMNDeviceCodable secret{foundation::Data{"secret"}, {}};
    const LMNDeviceCodable named{foundation::Data{"{}"}, "Kitchen"};
    EXPECT_EQ(restoreFailure(named), "The device “Kitchen” cannot be restored.") << "no manager";
    const Shared shared(manager);
    EXPECT_EQ(restoreFailure(named), "The device “Kitchen” cannot be restored.");
    EXPECT_EQ(restoreFailure(secret), "A device cannot be restored.");
    EXPECT_THROW(createDevice(manager, "nobody", "", false), DeviceRestoreError) << "a UID is needed";
}

TEST_F(LMNDeviceCodableTest, aCreatedDeviceIsStereoAndSeenByAll) {
    const auto device = createDevice(manager, "Kitchen", "com.fernwick.Orbweaver::A1", true);
    const lmn::LMNVirtualDeviceConfig& config = device->config();
    EXPECT_EQ(
        std::tuple(config.name, config.deviceUID, config.hidden, config.inputChannels, config.outputChannels),
        std::tuple("Kitchen", "com.fernwick.Orbweaver::A1", false, 0U, 2U));
    EXPECT_EQ(manager.deviceWithDeviceUID("com.fernwick.Orbweaver::A1", false), device);
}

} // namespace
} // namespace orb
