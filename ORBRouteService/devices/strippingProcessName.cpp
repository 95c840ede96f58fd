// SPDX-License-Identifier: MIT
#include "ORBRouteService/devices/strippingProcessName.h"

#include <boost/algorithm/string/erase.hpp>

#include <cerrno>

namespace orb {

std::string strippingProcessName(std::string_view text) {
    using namespace std::string_literals;
    return boost::algorithm::erase_all_copy(std::string(text), " ["s + program_invocation_short_name + "]");
}

} // namespace orb
