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

# Each test program is one CTest test (or a few shards of one), all its
# cases in one process: a process start is dear under an emulator (Wine),
# under the sanitizers and for programs that load OpenImageIO, and there are
# thousands of cases. Every case's result goes to the program's XML report,
# which tools/test-report-summary.sh sums up. OFF registers every case as a
# CTest test of its own (for `ctest -R` on single cases).
option(SQ_TEST_PROGRAMS_WHOLE "Register each test program as one CTest test" ON)

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

# sq_add_gtest(<target> SOURCES <files...> [LIBRARIES <libs...>] [SHARDS <n>])
#
# SHARDS splits a long program into n CTest tests of its cases (GoogleTest's
# sharding), so that CTest spreads it over the cores.
function(sq_add_gtest target)
    cmake_parse_arguments(ARG "" "SHARDS" "SOURCES;LIBRARIES" ${ARGN})
    if(NOT ARG_SHARDS)
        set(ARG_SHARDS 1)
    endif()
    add_executable(${target} ${ARG_SOURCES})
    target_link_libraries(${target} PRIVATE ${ARG_LIBRARIES} GTest::gtest GTest::gtest_main
        Threads::Threads)
    sq_target_warnings(${target})
    # A program's test files compile a few at a time: each would otherwise
    # parse GoogleTest and our host's headers again, and one file of all of
    # them would leave a core idle. Line tables are all the debug
    # information a failing test needs, at two thirds of the compile time.
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 4)
    if(NOT MSVC)
        target_compile_options(${target} PRIVATE $<$<CONFIG:RelWithDebInfo>:-g1>)
    endif()
    if(SQ_TEST_PROGRAMS_WHOLE)
        math(EXPR last "${ARG_SHARDS} - 1")
        foreach(shard RANGE ${last})
            if(ARG_SHARDS EQUAL 1)
                set(name ${target})
            else()
                set(name ${target}.${shard})
            endif()
            # A relative report path: under Wine an absolute Linux path is
            # not one to a Windows program.
            add_test(NAME ${name}
                COMMAND ${target} --gtest_output=xml:test-reports/${name}.xml
                WORKING_DIRECTORY ${CMAKE_BINARY_DIR})
            set_tests_properties(${name} PROPERTIES ENVIRONMENT
                "SQ_BUILD_DIR=${CMAKE_BINARY_DIR};GTEST_TOTAL_SHARDS=${ARG_SHARDS};GTEST_SHARD_INDEX=${shard}")
            set_property(GLOBAL APPEND PROPERTY SQ_TEST_REPORTS ${name})
        endforeach()
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

# Writes <build>/test-reports.list: the XML report every whole test program
# (or shard) writes, so that a program that never wrote one (it crashed or
# timed out) is named in the summary. Called once all tests are declared.
function(sq_write_test_report_list)
    get_property(reports GLOBAL PROPERTY SQ_TEST_REPORTS)
    file(WRITE ${CMAKE_BINARY_DIR}/test-reports.list "")
    foreach(report IN LISTS reports)
        file(APPEND ${CMAKE_BINARY_DIR}/test-reports.list "${report}\n")
    endforeach()
endfunction()
