# GoogleTest for the test executables, one helper that declares a test
# executable and registers its cases with CTest, and one that checks what a
# built binary imports and exports.

if(CMAKE_CROSSCOMPILING AND WIN32)
    # Debian's libgtest-dev holds Linux libraries only; for Windows, GoogleTest
    # is built from the sources of Debian's googletest package with the same
    # cross compiler and flags as our code.
    set(SQ_GOOGLETEST_SOURCE_DIR "/usr/src/googletest" CACHE PATH
        "GoogleTest sources to build for the Windows tests")
    if(NOT EXISTS "${SQ_GOOGLETEST_SOURCE_DIR}/CMakeLists.txt")
        message(FATAL_ERROR "No GoogleTest sources in ${SQ_GOOGLETEST_SOURCE_DIR}: "
            "install Debian's googletest package or set SQ_GOOGLETEST_SOURCE_DIR")
    endif()
    set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
    set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
    # Only MSVC looks at this; set so that a static CRT is never picked there.
    set(gtest_force_shared_crt ON CACHE BOOL "" FORCE)
    # GoogleTest keeps its own warning flags: sq_target_warnings is per target.
    add_subdirectory("${SQ_GOOGLETEST_SOURCE_DIR}" "${CMAKE_BINARY_DIR}/_googletest"
        EXCLUDE_FROM_ALL)
    foreach(lib gtest gtest_main gmock gmock_main)
        if(NOT TARGET GTest::${lib})
            add_library(GTest::${lib} ALIAS ${lib})
        endif()
    endforeach()
    # The first program run in a new Wine prefix waits seconds for the prefix
    # to be filled in (more on a busy machine); 5 s, the default, is too tight.
    set(SQ_GTEST_DISCOVERY_TIMEOUT 120)
else()
    find_package(GTest REQUIRED)
    set(SQ_GTEST_DISCOVERY_TIMEOUT 5)
endif()
include(GoogleTest)

# Cross-compiled tests run under an emulator (Wine), where each process's
# start-up is dear: there each test program is one CTest test.
if(CMAKE_CROSSCOMPILING)
    set(sq_whole_default ON)
else()
    set(sq_whole_default OFF)
endif()
option(SQ_TEST_PROGRAMS_WHOLE "Register each test program as one CTest test"
    ${sq_whole_default})

set(SQ_CMAKE_DIR "${CMAKE_CURRENT_LIST_DIR}")

# sq_check_binary(<target> [EXPORTS <names...> | NO_EXPORTS])
#
# Adds the test <target>.binary_check. On Windows it checks that the binary
# imports only system DLLs (no MinGW runtime) and exports exactly EXPORTS
# (default: the OpenFX entry points for a MODULE, nothing for an executable).
# On Linux, for a MODULE, that it defines and exports exactly EXPORTS and needs
# only the C/C++ runtime libraries; executables are not checked there.
function(sq_check_binary target)
    cmake_parse_arguments(ARG "NO_EXPORTS" "" "EXPORTS" ${ARGN})
    get_target_property(type ${target} TYPE)
    if(ARG_NO_EXPORTS)
        set(exports NONE)
    elseif(ARG_EXPORTS)
        set(exports ${ARG_EXPORTS})
    elseif(type STREQUAL "MODULE_LIBRARY")
        set(exports OfxGetNumberOfPlugins OfxGetPlugin)
    else()
        set(exports NONE)
    endif()
    # A list would not survive the trip through add_test; the scripts take commas.
    string(REPLACE ";" "," exports "${exports}")
    if(WIN32)
        add_test(NAME ${target}.binary_check
            COMMAND ${CMAKE_COMMAND} -DFILE=$<TARGET_FILE:${target}> "-DEXPORTS=${exports}"
                "-DOBJDUMP=${CMAKE_OBJDUMP}" -P ${SQ_CMAKE_DIR}/CheckWindowsBinary.cmake)
    elseif(type STREQUAL "MODULE_LIBRARY" AND NOT APPLE)
        add_test(NAME ${target}.binary_check
            COMMAND ${CMAKE_COMMAND} -DFILE=$<TARGET_FILE:${target}> "-DEXPORTS=${exports}"
                "-DSANITIZE=${SQ_SANITIZE}" -P ${SQ_CMAKE_DIR}/CheckElfExports.cmake)
    endif()
endfunction()

# sq_add_gtest(<target> SOURCES <files...> [LIBRARIES <libs...>])
function(sq_add_gtest target)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
    add_executable(${target} ${ARG_SOURCES})
    target_link_libraries(${target} PRIVATE ${ARG_LIBRARIES} GTest::gtest GTest::gtest_main
        Threads::Threads)
    sq_target_warnings(${target})
    # A program's test files compile as one: each would otherwise parse
    # GoogleTest and our host's headers again, and CI builds the tests three
    # times.
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0)
    if(SQ_TEST_PROGRAMS_WHOLE)
        # One CTest test per program: under an emulator each process costs
        # a start-up, so all of a program's cases run in one. Each case's
        # result goes to the program's XML report (summed up by the CI).
        # A relative report path: under Wine an absolute Linux path is not
        # one to a Windows program.
        add_test(NAME ${target}
            COMMAND ${target} --gtest_output=xml:test-reports/${target}.xml
            WORKING_DIRECTORY ${CMAKE_BINARY_DIR})
        set_tests_properties(${target} PROPERTIES
            ENVIRONMENT "SQ_BUILD_DIR=${CMAKE_BINARY_DIR}")
    else()
        # Cases are listed when CTest starts rather than at build time, so
        # that building for another system needs no emulator.
        gtest_discover_tests(${target}
            DISCOVERY_MODE PRE_TEST
            DISCOVERY_TIMEOUT ${SQ_GTEST_DISCOVERY_TIMEOUT}
            PROPERTIES ENVIRONMENT "SQ_BUILD_DIR=${CMAKE_BINARY_DIR}")
    endif()
    if(WIN32)
        # A test program that needs a MinGW runtime DLL would pass here and
        # fail to start on a real Windows machine.
        sq_check_binary(${target})
    endif()
endfunction()
