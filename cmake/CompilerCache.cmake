# SPDX-License-Identifier: MIT
# Use ccache where it is installed. The sloppiness is what it needs to look through a precompiled header; no
# source of ours uses __DATE__ or __TIME__.

find_program(HOUSE_CCACHE ccache)
mark_as_advanced(HOUSE_CCACHE)
if(HOUSE_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER
        ${CMAKE_COMMAND} -E env
        CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
        ${HOUSE_CCACHE})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        add_compile_options("SHELL:-Xclang -fno-pch-timestamp")
    endif()
endif()
