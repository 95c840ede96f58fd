# SPDX-License-Identifier: MIT
# Warnings are errors under both compilers. Sign conversion is left out: sample and frame arithmetic against
# the standard containers would need a cast on every line and would hide the casts that matter.

add_library(house_warnings INTERFACE)
target_compile_options(house_warnings INTERFACE
    -Werror
    -Wall
    -Wextra
    -Wpedantic
    -Wshadow
    -Wconversion
    -Wno-sign-conversion
    -Wnon-virtual-dtor
    -Wold-style-cast
    -Woverloaded-virtual
    -Wcast-align
    -Wformat=2
    -Wunused
    -Wimplicit-fallthrough
    -Wextra-semi)

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(house_warnings INTERFACE
        -Wduplicated-cond
        -Wduplicated-branches
        -Wlogical-op
        -Wsuggest-override
        # GCC 12 sees overlapping copies in std::string's own operator+ once it is inlined.
        -Wno-restrict
        # GCC 12 loses track of the promise's members across a suspension.
        -Wno-maybe-uninitialized
        # GCC 12 takes fmt's growing buffer for its inline part at -O3.
        -Wno-stringop-overflow)
else()
    target_compile_options(house_warnings INTERFACE
        -Wnull-dereference
        -Winconsistent-missing-override
        -Wthread-safety)
endif()
