set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
# Headers are included by their path from the project's root.
include_directories(${CMAKE_SOURCE_DIR})

find_program(CCACHE ccache)
if(CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_SOURCE_DIR}/cmake/ccache)
    set(CMAKE_C_COMPILER_LAUNCHER ${CMAKE_SOURCE_DIR}/cmake/ccache)
endif()

# Our own code is compiled with these; generated code is not (see proto/CMakeLists.txt).
add_library(tarn_warnings INTERFACE)
target_compile_options(tarn_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion
    $<IF:$<CXX_COMPILER_ID:GNU>,-Wshadow=local,-Wshadow> -Wnon-virtual-dtor -Woverloaded-virtual
    -Wold-style-cast -Wcast-qual -Wformat=2 -Wimplicit-fallthrough -Werror)

set(TARN_SANITIZERS "" CACHE STRING "Value of -fsanitize=, empty for none")
if(TARN_SANITIZERS)
    add_compile_options(-fsanitize=${TARN_SANITIZERS} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${TARN_SANITIZERS})
endif()

option(TARN_COVERAGE "Count executed lines" OFF)
if(TARN_COVERAGE)
    add_compile_options(--coverage -fprofile-update=atomic)
    add_link_options(--coverage)
endif()

# Fuzzers look for input that runs new code: all code has to tell what runs.
if(TARN_FUZZERS)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# Compiles several files of a target as one: the headers and templates that they share once. Files of
# a target must not define the same name for themselves then; a target in which some do is named in
# TARN_FILE_BY_FILE and compiled as ever (scripts/test finds such targets).
# Off where it is to be shown that each file includes what it needs, and for what clang-tidy looks at.
option(TARN_UNITY_BUILD "Compile several files as one, for a quicker build from nothing" OFF)
set(TARN_FILE_BY_FILE
    tarn_loop_storage tarn_media_framework tarn_misbehaving_device tarn_storage_client
    test_device_tree test_loop_storage test_system
    CACHE STRING "Targets that are compiled file by file all the same")
if(TARN_UNITY_BUILD)
    # A class of one file with a member of a type of that file: taken for one of a header.
    target_compile_options(tarn_warnings INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
endif()
