# SPDX-License-Identifier: MIT
# How a folder becomes a target. Each folder's CMakeLists.txt calls one or more of
#
#   house_library(platform_foundation SOURCES Base64.cpp ... DEPENDS platform_dispatch house::json)
#   house_program(mirrorlab SOURCES main.cpp DEPENDS mirrorlab_core house::cli)
#   house_test(platform_foundation_test SOURCES Base64Test.cpp ... DEPENDS platform_foundation
#              [PROGRAMS mirrorlab] [TIMEOUT 60] [SERIAL] [THREADS])
#   house_bench(HTMixQueueBench SOURCES HTMixQueueBench.cpp DEPENDS platform_lmn)
#   house_fuzzer(Base64Fuzzer SOURCES Base64Fuzzer.cpp DEPENDS platform_foundation)
#
# Names of DEPENDS: targets of the house, or the house:: names of Dependencies.cmake; house::asio, house::json
# and house::fmt come with every target. The include root is the root of the tree. Programs and tests end up
# in bin/ of the build directory, benches in bin/bench/, fuzzers in bin/fuzz/.

include_guard(GLOBAL)
include(GoogleTest)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_SCAN_FOR_MODULES OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE Release)
endif()

include(${CMAKE_CURRENT_LIST_DIR}/CompilerCache.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/Dependencies.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/Warnings.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/Sanitizers.cmake)

# Everything that must be alike in all targets for them to share one precompiled header.
add_library(house_precompiled STATIC ${CMAKE_CURRENT_LIST_DIR}/AsioImplementation.cpp)
target_include_directories(house_precompiled PUBLIC ${PROJECT_SOURCE_DIR})
target_link_libraries(house_precompiled
    PUBLIC house::asio house::json house::fmt house_sanitizers
    PRIVATE house_warnings)
target_precompile_headers(house_precompiled PRIVATE ${CMAKE_CURRENT_LIST_DIR}/Precompiled.h)

# Adds the named folders, in floor order, as far as the tree has them.
function(house_folders)
    foreach(folder IN LISTS ARGN)
        if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/${folder}/CMakeLists.txt)
            add_subdirectory(${folder})
        endif()
    endforeach()
endfunction()

function(house_furnish NAME)
    target_link_libraries(${NAME} PUBLIC house_precompiled ${ARGN} PRIVATE house_warnings)
    target_precompile_headers(${NAME} REUSE_FROM house_precompiled)
endfunction()

function(house_library NAME)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;DEPENDS")
    house_refuse_unknown(${NAME} "${arg_UNPARSED_ARGUMENTS}")
    add_library(${NAME} STATIC ${arg_SOURCES})
    house_furnish(${NAME} ${arg_DEPENDS})
endfunction()

function(house_program NAME)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;DEPENDS")
    house_refuse_unknown(${NAME} "${arg_UNPARSED_ARGUMENTS}")
    add_executable(${NAME} ${arg_SOURCES})
    house_furnish(${NAME} ${arg_DEPENDS})
endfunction()

# A GoogleTest program; every test in it is a ctest test of its own, named after its suite. PROGRAMS are
# built before it and found, like all programs, in HOUSE_BIN_DIR. SERIAL keeps other tests from running
# beside its tests. THREADS says that some of its tests have more than one thread: the thread sanitizer's build
# has no others, since in virtual time there is nothing for it to find. The list of tests is taken when ctest starts, so that building never runs a test program.
function(house_test NAME)
    cmake_parse_arguments(PARSE_ARGV 1 arg "SERIAL;THREADS" "TIMEOUT" "SOURCES;DEPENDS;PROGRAMS")
    house_refuse_unknown(${NAME} "${arg_UNPARSED_ARGUMENTS}")
    if(HOUSE_SANITIZE STREQUAL thread AND NOT arg_THREADS)
        return()
    endif()
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 60)
    endif()
    set(properties TIMEOUT ${arg_TIMEOUT} LABELS ${NAME})
    if(arg_SERIAL)
        list(APPEND properties RUN_SERIAL ON)
    endif()

    add_executable(${NAME} ${arg_SOURCES})
    house_furnish(${NAME} ${arg_DEPENDS} house::gmock_main)
    target_compile_definitions(${NAME} PRIVATE
        HOUSE_BIN_DIR="${CMAKE_RUNTIME_OUTPUT_DIRECTORY}" HOUSE_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
    if(arg_PROGRAMS)
        add_dependencies(${NAME} ${arg_PROGRAMS})
    endif()
    gtest_discover_tests(${NAME}
        DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
        WORKING_DIRECTORY ${CMAKE_BINARY_DIR} PROPERTIES ${properties})
endfunction()

# A Google Benchmark program; they have a folder of their own in bin/, so that all can be run in turn.
function(house_bench NAME)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;DEPENDS")
    house_refuse_unknown(${NAME} "${arg_UNPARSED_ARGUMENTS}")
    add_executable(${NAME} ${arg_SOURCES})
    house_furnish(${NAME} ${arg_DEPENDS} house::benchmark_main)
    set_target_properties(${NAME} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin/bench)
endfunction()

# A libFuzzer program, built only where the whole build is instrumented for it.
function(house_fuzzer NAME)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;DEPENDS")
    house_refuse_unknown(${NAME} "${arg_UNPARSED_ARGUMENTS}")
    if(HOUSE_FUZZ)
        add_executable(${NAME} ${arg_SOURCES})
        house_furnish(${NAME} ${arg_DEPENDS})
        target_link_options(${NAME} PRIVATE -fsanitize=fuzzer)
        set_target_properties(${NAME} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin/fuzz)
    endif()
endfunction()

# A script of scripts/ that judges the sources; a violation fails the suite.
function(house_check SCRIPT)
    add_test(NAME house.${SCRIPT}
        COMMAND Python3::Interpreter ${PROJECT_SOURCE_DIR}/scripts/${SCRIPT}
        WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
endfunction()

function(house_refuse_unknown NAME UNKNOWN)
    if(UNKNOWN)
        message(FATAL_ERROR "${NAME}: unknown arguments: ${UNKNOWN}")
    endif()
endfunction()
