// SPDX-License-Identifier: MIT
// Names as components of paths: any name gives one component that stays where it is put, and is told from it
// unless it was cut; only what a name gives is taken for a component.
#include "fuzz/Fuzzing.h"
#include "platform/foundation/PathName.h"

using namespace foundation;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = fuzz::textOf(data, size);
    const std::string component = pathComponentOf(text);
    ORB_CHECK(!component.empty() && component.size() <= maximumPathComponent, "{}", component);
    ORB_CHECK(component.front() != '.', "{}", component);
    const auto isPlain = [](char c) { return c > ' ' && c <= '~' && c != '/'; };
    ORB_CHECK(std::ranges::all_of(component, isPlain), "{}", component);

    const bool isCut = component.find("%~") != component.npos;
    const auto name = nameOfPathComponent(component);
    ORB_CHECK(name.has_value() != isCut, "{}", component);
    ORB_CHECK(isCut || *name == text, "{}", component);

    const auto named = nameOfPathComponent(text);
    ORB_CHECK(!named || pathComponentOf(*named) == text, "{}", *named);
    return 0;
}
