# SPDX-License-Identifier: MIT
# The one list of what the project takes from outside, each under a name of the house. Folders link these
# names and never the packages' own, so that a package can be exchanged here alone.

find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
find_package(Python3 REQUIRED COMPONENTS Interpreter)
find_package(Boost 1.81 REQUIRED CONFIG COMPONENTS headers json)
find_package(fmt 9 REQUIRED CONFIG)
find_package(CLI11 2.1 REQUIRED CONFIG)
find_package(pugixml 1.12 REQUIRED CONFIG)
find_package(GTest 1.12 REQUIRED CONFIG)
find_package(benchmark 1.7 REQUIRED CONFIG)
pkg_check_modules(sndfile REQUIRED IMPORTED_TARGET sndfile)
pkg_check_modules(soxr REQUIRED IMPORTED_TARGET soxr)
pkg_check_modules(taglib REQUIRED IMPORTED_TARGET taglib)
pkg_check_modules(sodium REQUIRED IMPORTED_TARGET libsodium)
pkg_check_modules(uriparser REQUIRED IMPORTED_TARGET liburiparser)
# libunistring describes itself to neither CMake nor pkg-config.
find_library(UNISTRING_LIBRARY unistring REQUIRED)
find_path(UNISTRING_INCLUDE_DIR unistr.h REQUIRED)
# The plotting library that reports carry within them.
find_file(DYGRAPHS_SCRIPT dygraphs/dygraph.min.js PATHS /usr/share/javascript NO_DEFAULT_PATH REQUIRED)
find_file(DYGRAPHS_STYLE dygraphs/dygraph.min.css PATHS /usr/share/javascript NO_DEFAULT_PATH REQUIRED)

# Asio's own non-template code is compiled once, in house_precompiled, instead of into every object file.
add_library(house_asio INTERFACE)
target_link_libraries(house_asio INTERFACE Boost::headers Threads::Threads)
target_compile_definitions(house_asio INTERFACE BOOST_ASIO_NO_DEPRECATED BOOST_ASIO_SEPARATE_COMPILATION)
add_library(house::asio ALIAS house_asio)

# NAME becomes house::NAME for one or more targets of a package.
function(house_dependency NAME)
    add_library(house_${NAME} INTERFACE)
    target_link_libraries(house_${NAME} INTERFACE ${ARGN})
    add_library(house::${NAME} ALIAS house_${NAME})
endfunction()

house_dependency(json Boost::json)
house_dependency(fmt fmt::fmt)
house_dependency(sndfile PkgConfig::sndfile)
house_dependency(soxr PkgConfig::soxr)
house_dependency(taglib PkgConfig::taglib)
house_dependency(sodium PkgConfig::sodium)
house_dependency(unistring ${UNISTRING_LIBRARY})
target_include_directories(house_unistring SYSTEM INTERFACE ${UNISTRING_INCLUDE_DIR})
house_dependency(pugixml pugixml::pugixml)
house_dependency(uriparser PkgConfig::uriparser)
house_dependency(cli CLI11::CLI11)
house_dependency(gmock GTest::gmock)
house_dependency(gmock_main GTest::gmock_main)
house_dependency(benchmark_main benchmark::benchmark_main)
