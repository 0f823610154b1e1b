# tarn_compile_together(test_system): see TARN_UNITY_BUILD.
function(tarn_compile_together target)
    if(TARN_UNITY_BUILD AND NOT target IN_LIST TARN_FILE_BY_FILE)
        set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 8)
    endif()
endfunction()

# tarn_library(socket SOURCES a.cpp ... LINKS tarn::utils ... PRIVATE_LINKS ...)
#   a static library tarn::socket.
function(tarn_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINKS;PRIVATE_LINKS" ${ARGN})
    add_library(tarn_${name} STATIC ${ARG_SOURCES})
    add_library(tarn::${name} ALIAS tarn_${name})
    target_link_libraries(tarn_${name} PUBLIC ${ARG_LINKS} Threads::Threads
                                       PRIVATE ${ARG_PRIVATE_LINKS} tarn_warnings)
    tarn_compile_together(tarn_${name})
endfunction()

# tarn_program(tarnctl SOURCES ... LINKS ...): an executable in build/<preset>/bin.
function(tarn_program name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_LINKS} tarn_warnings Threads::Threads)
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
    tarn_compile_together(${name})
endfunction()

# tarn_unit_tests(socket SOURCES ... LINKS ...): one GoogleTest executable; each test is known to CTest.
function(tarn_unit_tests name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
    add_executable(test_${name} ${ARG_SOURCES})
    target_link_libraries(test_${name} PRIVATE ${ARG_LINKS} tarn_warnings
                                               GTest::gmock GTest::gtest_main Threads::Threads)
    tarn_compile_together(test_${name})
    tarn_use_test_headers(test_${name})
    set(unit_test_timeout 60)
    if(TARN_SANITIZERS)
        set(unit_test_timeout 180)
    endif()
    gtest_discover_tests(test_${name} TEST_PREFIX ${name}. DISCOVERY_MODE PRE_TEST
                         PROPERTIES TIMEOUT ${unit_test_timeout} LABELS unit)
endfunction()
