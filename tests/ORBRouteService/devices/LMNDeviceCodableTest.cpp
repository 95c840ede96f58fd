// SPDX-License-Identifier: MIT
#include "ORBRouteService/devices/DeviceRestoreError.h"
#include "ORBRouteService/devices/LMNDeviceCodable.h"
#include "ORBRouteService/devices/createDevice.h"

#include "platform/foundation/SharedInstance.h"
#include "tests/ORBRouteService/devices/DevicesFixture.h"

#include <cerrno>
#include <tuple>

namespace orb {
namespace {

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

} // namespace
} // namespace orb
