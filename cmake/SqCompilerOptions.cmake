# Warnings, sanitizers and platform libraries shared by every target.

function(sq_target_warnings target)
    if(MSVC)
        target_compile_options(${target} PRIVATE /W4)
        if(SQ_WERROR)
            target_compile_options(${target} PRIVATE /WX)
        endif()
    else()
        target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow
            -Wnon-virtual-dtor -Wcast-align -Wunused -Woverloaded-virtual
            -Wnull-dereference -Wdouble-promotion -Wformat=2)
        if(SQ_WERROR)
            target_compile_options(${target} PRIVATE -Werror)
        endif()
    endif()
endfunction()

# The sanitized tests render thousands of frames through the plug-in and
# our host: their libraries are optimised a little even in an unoptimised
# (quick to build) sanitized tree.
function(sq_optimise_when_sanitized target)
    if(SQ_SANITIZE AND NOT MSVC)
        target_compile_options(${target} PRIVATE $<$<CONFIG:Debug>:-O1>)
    endif()
endfunction()

# System libraries that the platform files of a target need.
function(sq_platform_libraries target)
    if(WIN32)
        target_link_libraries(${target} PUBLIC user32)
    else()
        target_link_libraries(${target} PUBLIC ${CMAKE_DL_LIBS})
    endif()
endfunction()

if(SQ_SANITIZE)
    add_compile_options(-fsanitize=${SQ_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${SQ_SANITIZE})
endif()

if(SQ_BUILD_FUZZERS)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        message(FATAL_ERROR "SQ_BUILD_FUZZERS needs clang (libFuzzer): "
            "-DCMAKE_CXX_COMPILER=clang++ -DCMAKE_C_COMPILER=clang")
    endif()
    # Coverage for the fuzzer in all code; libFuzzer's main only in the
    # fuzz targets.
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

if(MINGW)
    # No MinGW runtime DLLs next to the plug-in or the executables: the C++
    # runtime, libgcc and winpthread are linked in.
    add_link_options(-static)
endif()

# Kernel families must agree bit for bit: no fused multiply-adds behind our back.
if(NOT MSVC)
    add_compile_options(-ffp-contract=off)
endif()

find_package(Threads REQUIRED)
