// SPDX-License-Identifier: MIT
#include "bench/orbsim/World.h"

#include "platform/foundation/coding/DecodingError.h"
#include "platform/foundation/coding/JSONCoder.h"

#include <fmt/format.h>

#include <fstream>
#include <iterator>

namespace orbsim {

World World::read(const std::filesystem::path& path) {
    std::ifstream file(path);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    if (!file.good() && !file.eof()) {
        throw WorldError(fmt::format("{}: cannot be read", path.string()));
    }
    try {
        return foundation::decodeJSON<World>(text);
    } catch (const foundation::DecodingError& error) {
        throw WorldError(fmt::format("{}: {}", path.string(), error.what()));
    }
}

void World::write(const std::filesystem::path& path) const {
    std::ofstream file(path);
    file << foundation::encodeJSON(*this) << '\n';
    if (!file.flush()) {
        throw WorldError(fmt::format("{}: cannot be written", path.string()));
    }
}

std::string describe(const Action& action) { return foundation::encodeJSON(action); }

} // namespace orbsim

orbsim::ReceiverEntry foundation::Coding<orbsim::ReceiverEntry>::decode(const boost::json::value& coded,
                                                                        const CodingPath& path) {
    const boost::json::object* entry = coded.if_object();
    if (entry == nullptr) {
        throwUnexpected(coded, path, "an entry of a receivers file");
    }
    return {*entry, boost::json::storage_ptr()}; // the document's memory goes
}
