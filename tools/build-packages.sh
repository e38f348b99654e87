#!/usr/bin/env bash
# Builds every package into out/packages: for Windows x64 the zip and the
# NSIS installer (cross-compiled with mingw-w64), for Linux x86-64 the tar.gz
# and the .deb, all by CPack from the same CMake build as everything else.
#
#   tools/build-packages.sh [LINUX_BUILD_DIR] [WINDOWS_BUILD_DIR]
#
# The build folders default to build and build-win64; folders that exist are
# reused as they are configured (CI passes the ones its tests built), so only
# what a package holds is built here.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
linux=${1:-$root/build}
windows=${2:-$root/build-win64}
out=$root/out/packages

"$root/tools/install-deps.sh" --windows

echo "build-packages: Linux x86-64 in $linux"
cmake -S "$root" -B "$linux" >/dev/null
cmake --build "$linux" -j2 --target StutterQuirk ofx-render ofx-inspect
(cd "$linux" && cpack)

echo "build-packages: Windows x64 in $windows"
cmake -S "$root" -B "$windows" \
    -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchain-mingw-w64-x86_64.cmake" >/dev/null
# ofx-inspect.exe is no part of a package: tools/check-packages.sh uses it.
cmake --build "$windows" -j2 --target StutterQuirk ofx-inspect
(cd "$windows" && cpack)

mkdir -p "$out"
rm -f "$out"/StutterQuirk-* "$out"/stutterquirk_*
cp "$linux"/packages/StutterQuirk-*-Linux-x86-64.tar.gz "$linux"/packages/stutterquirk_*.deb \
    "$windows"/packages/StutterQuirk-*-Win64.zip "$windows"/packages/StutterQuirk-*-Win64-setup.exe \
    "$out"/
echo
echo "Packages in $out:"
ls -l "$out"
