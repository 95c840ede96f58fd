// SPDX-License-Identifier: MIT
#pragma once

#include <boost/json/value.hpp>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace airplay {

/// A JSON value that knows where in the text it stands, and keeps keys that are given twice: what a parser
/// forgets and a helpful error needs. A pure value.
struct LocatedJson {
    struct Member;

    boost::json::value value;          ///< of an array or object only the kind, without content
    std::size_t offset = 0;            ///< byte of the text at which it begins
    std::vector<LocatedJson> elements; ///< of an array
    std::vector<Member> members;       ///< of an object, in the order of the text
};

struct LocatedJson::Member {
    std::string key;
    std::size_t offset = 0; ///< of the key
    LocatedJson value;
};

/// The value that `text`, which is well-formed JSON of a bounded depth, holds.
LocatedJson locateJson(std::string_view text);

} // namespace airplay
