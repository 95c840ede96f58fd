// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace orb {

/// `text` without any " [name of this process]" in it, as the letters are. The name is that of the program's
/// file as it was started, whole: the kernel's own record of it ends after 15 bytes. Any thread.
std::string strippingProcessName(std::string_view text);

} // namespace orb
