# Cross-compiles for Windows x64 with Debian's mingw-w64 and runs the built
# programs (tests, gtest discovery) under Wine through cmake/wine/sq-wine.
#
#   cmake -S . -B build-win64 \
#       -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-mingw-w64-x86_64.cmake
#
# The compilers are named with their -posix suffix on purpose: the win32 thread
# flavour of GCC 12 has no std::thread or std::mutex, and installing it moves
# the unsuffixed names over to it.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)

set(SQ_MINGW_TRIPLET x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${SQ_MINGW_TRIPLET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${SQ_MINGW_TRIPLET}-g++-posix)
set(CMAKE_RC_COMPILER ${SQ_MINGW_TRIPLET}-windres)
# The matching binutils, so that archives and symbol checks don't pick up the
# host's tools.
set(CMAKE_AR ${SQ_MINGW_TRIPLET}-ar)
set(CMAKE_RANLIB ${SQ_MINGW_TRIPLET}-ranlib)
set(CMAKE_NM ${SQ_MINGW_TRIPLET}-nm)
set(CMAKE_OBJDUMP ${SQ_MINGW_TRIPLET}-objdump)

# Libraries and headers come from the mingw-w64 sysroot only; programs (the
# build tools) from the host.
set(CMAKE_FIND_ROOT_PATH /usr/${SQ_MINGW_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Every test and every gtest discovery runs the .exe through the launcher,
# with a Wine prefix of its own inside the build tree.
set(CMAKE_CROSSCOMPILING_EMULATOR
    "${CMAKE_CURRENT_LIST_DIR}/wine/sq-wine;--prefix=${CMAKE_BINARY_DIR}/wineprefix")
