# SPDX-License-Identifier: MIT
# Instrumentation is a matter of the whole build: the precompiled header and every library share it.

set(HOUSE_SANITIZE "" CACHE STRING "Sanitizers of this build, as for -fsanitize=, separated by commas")
option(HOUSE_FUZZ "Build the fuzz programs (clang only)" OFF)

add_library(house_sanitizers INTERFACE)
if(HOUSE_SANITIZE)
    target_compile_options(house_sanitizers INTERFACE
        -fsanitize=${HOUSE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(house_sanitizers INTERFACE -fsanitize=${HOUSE_SANITIZE})
endif()
if(HOUSE_FUZZ)
    target_compile_options(house_sanitizers INTERFACE -fsanitize=fuzzer-no-link)
endif()
