# Headers of libraries that many files of a target include, parsed once. Headers of ours are never
# among them. Every file includes what it needs all the same: clang-tidy sees it without these
# (scripts/tidy).
option(TARN_PRECOMPILED_HEADERS "Parse large headers of libraries once for each target" ON)

# tarn_precompile(tarn_cli <CLI/CLI.hpp> ...)
function(tarn_precompile target)
    if(TARN_PRECOMPILED_HEADERS)
        target_precompile_headers(${target} PRIVATE ${ARGN})
    endif()
endfunction()

# Generated messages include these.
set(TARN_PROTOBUF_HEADERS
    <google/protobuf/extension_set.h> <google/protobuf/generated_enum_reflection.h>
    <google/protobuf/generated_message_util.h> <google/protobuf/message.h>
    <google/protobuf/repeated_field.h> <google/protobuf/unknown_field_set.h>)

# What tests are made of, parsed once for all of them. By a program, since programs are compiled with
# other options than libraries.
function(tarn_make_test_headers)
    file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/test_headers.cpp CONTENT "int main() {}\n")
    add_executable(tarn_test_headers ${CMAKE_BINARY_DIR}/test_headers.cpp)
    target_link_libraries(tarn_test_headers PRIVATE tarn_warnings GTest::gmock protobuf::libprotobuf)
    tarn_precompile(tarn_test_headers <gmock/gmock.h> <gtest/gtest.h> ${TARN_PROTOBUF_HEADERS})
endfunction()

# Not for tests with the media library, which is compiled with an option of its own.
function(tarn_use_test_headers target)
    get_target_property(libraries ${target} LINK_LIBRARIES)
    if(TARN_PRECOMPILED_HEADERS AND NOT "${libraries}" MATCHES "GStreamer")
        target_precompile_headers(${target} REUSE_FROM tarn_test_headers)
    endif()
endfunction()
