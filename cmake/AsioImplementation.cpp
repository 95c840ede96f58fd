// SPDX-License-Identifier: MIT
#include <boost/asio/impl/src.hpp>
