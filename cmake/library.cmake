# What the thread sanitizer is worth running on.
add_custom_target(threaded)

# flintrow_library(NAME SOURCES a.cpp ... [LINKS lib ...] [TESTS a_test.cpp ...] [TEST_LINKS lib ...] [THREADED])
#
# A static library of one folder, and beside it the test program NAME_test. Links are public: whoever uses
# the folder may use what its headers include, and nothing else. THREADED: its tests run several threads.
function(flintrow_library name)
    cmake_parse_arguments(ARG "THREADED" "" "SOURCES;LINKS;TESTS;TEST_LINKS" ${ARGN})
    if(ARG_SOURCES)
        add_library(${name} STATIC ${ARG_SOURCES})
        target_link_libraries(${name} PUBLIC flintrow_options ${ARG_LINKS})
    else()
        add_library(${name} INTERFACE)
        target_link_libraries(${name} INTERFACE flintrow_options ${ARG_LINKS})
    endif()
    if(FLINTROW_TESTS AND ARG_TESTS)
        set(label unit)
        set(timeout 60)
        if(ARG_THREADED)
            set(label threaded)
            set(timeout 240) # the thread sanitizer takes its time
        endif()
        flintrow_test(${name}_test SOURCES ${ARG_TESTS} LINKS ${name} ${ARG_TEST_LINKS} LABELS ${label}
            TIMEOUT ${timeout})
    endif()
endfunction()

# flintrow_test(NAME SOURCES x_test.cpp ... [LINKS lib ...] [LABELS label ...] [TIMEOUT seconds])
#
# What may take longest begins first: it waits for real time, and the others run beside it.
function(flintrow_test name)
    cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LINKS;LABELS" ${ARGN})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 60)
    endif()
    if(NOT ARG_LABELS)
        set(ARG_LABELS unit)
    endif()
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE flintrow_options ${ARG_LINKS} GTest::gmock GTest::gtest_main)
    flintrow_quick_to_build(${name})
    if(NOT ARG_LABELS STREQUAL unit)
        add_dependencies(threaded ${name})
    endif()
    set(alone)
    if(socketcan IN_LIST ARG_LABELS)
        set(alone RESOURCE_LOCK can_interfaces) # their tests take the same interfaces down, and rename them
    endif()
    gtest_discover_tests(${name}
        DISCOVERY_TIMEOUT 60
        PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS "${ARG_LABELS}" COST ${ARG_TIMEOUT} ${alone})
endfunction()

# A test's own sources are not optimised, and the largest headers are compiled once for all of them.
function(flintrow_quick_to_build name)
    target_compile_options(${name} PRIVATE -O0)
    if(NOT TARGET test_headers)
        file(WRITE ${CMAKE_BINARY_DIR}/test_headers.cpp "")
        add_library(test_headers STATIC EXCLUDE_FROM_ALL ${CMAKE_BINARY_DIR}/test_headers.cpp)
        target_link_libraries(test_headers PRIVATE flintrow_options GTest::gmock)
        target_compile_options(test_headers PRIVATE -O0)
        target_precompile_headers(test_headers PRIVATE <gmock/gmock.h> <filesystem> <functional> <thread>)
    endif()
    target_precompile_headers(${name} REUSE_FROM test_headers)
endfunction()

# flintrow_program(NAME SOURCES main.cpp ... [LINKS lib ...])
function(flintrow_program name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE flintrow_options ${ARG_LINKS})
endfunction()
