// SPDX-License-Identifier: MIT
#include "platform/appkit/NSApplication.h"

namespace appkit {

NSApplication::NSApplication(const Parts& parts)
    : mainQueue_(parts.realm.mainQueue()),
      element_(parts.element),
      operatingSystem_(parts.operatingSystem),
      accessibilityQueue_(parts.realm.makeQueue("appkit.accessibility")) {}

bool NSApplication::isOperatingSystemAtLeast(int major, int minor) const {
    return operatingSystem_ >= NSOperatingSystemVersion{major, minor};
}

} // namespace appkit
