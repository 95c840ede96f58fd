# SPDX-License-Identifier: MIT
# cmake -D OUTPUT=... -D PLOT_SCRIPT=... -D PLOT_STYLE=... -D SCRIPT=... -D STYLE=... -P embed.cmake
# Writes a C++ source with the bytes of these files. References to source maps, which a browser would try to
# fetch, are left out.

set(definitions "")
foreach(asset plotScript=${PLOT_SCRIPT} plotStyle=${PLOT_STYLE} script=${SCRIPT} style=${STYLE})
    string(REGEX MATCH "^([a-zA-Z]+)=(.*)$" matched "${asset}")
    set(name ${CMAKE_MATCH_1})
    file(READ "${CMAKE_MATCH_2}" bytes HEX)
    # A last line "//# sourceMappingURL=" or "/*# sourceMappingURL=".
    string(REGEX REPLACE "2f2[fa]2320736f757263654d617070696e6755524c3d[0-9a-f]*$" "" bytes "${bytes}")
    string(REGEX MATCHALL "[0-9a-f][0-9a-f]" bytes "${bytes}")
    list(JOIN bytes ",0x" bytes)
    string(APPEND definitions "
constexpr unsigned char ${name}Bytes[] = {0x${bytes}};
std::string_view PageAssets::${name}() { return asText(${name}Bytes, sizeof ${name}Bytes); }
")
endforeach()
file(WRITE "${OUTPUT}" "// SPDX-License-Identifier: MIT
#include \"orbctl/report/ReportPage.h\"

namespace orbctl {
namespace {

std::string_view asText(const unsigned char* bytes, std::size_t count) {
    return {reinterpret_cast<const char*>(bytes), count};
}

} // namespace
${definitions}
} // namespace orbctl
")
