#!/bin/bash
# Builds the Windows x64 plug-in and tests with mingw-w64 and runs the tests
# under Wine, headless.
#
#   bash .ci/windows.sh [SOURCE_DIR] [BUILD_DIR] [CTEST_ARGS...]
#
# SOURCE_DIR defaults to the repository this script is in, BUILD_DIR to
# build-win64 (relative paths are taken from the current folder). Installs
# what it needs from Debian's packages when missing (as root, or via sudo).

set -euo pipefail

script_dir="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
source_dir="$(cd "${1:-$script_dir/..}" && pwd)"
build_dir="${2:-build-win64}"
shift $(($# > 2 ? 2 : $#))
case "$build_dir" in
/*) ;;
*) build_dir="$PWD/$build_dir" ;;
esac

now() { date +%s.%N; }
took() { awk -v a="$1" -v b="$(now)" 'BEGIN { printf "%.1f", b - a }'; }
say() { echo "windows.sh: $*"; }

# --- tools ----------------------------------------------------------------------
# Named packages only, with no recommends: wine's recommends pull in a desktop.
packages=()
need() { # need PACKAGE CHECK...
    local package="$1"
    shift
    if ! "$@" >/dev/null 2>&1; then
        packages+=("$package")
    fi
}
need g++-mingw-w64-x86-64-posix command -v x86_64-w64-mingw32-g++-posix
need wine64 test -x /usr/lib/wine/wine64
need wine command -v wine
need googletest test -f /usr/src/googletest/CMakeLists.txt
need cmake command -v cmake
need make command -v make

start="$(now)"
if [ ${#packages[@]} -gt 0 ]; then
    sudo=()
    if [ "$(id -u)" -ne 0 ]; then
        sudo=(sudo)
    fi
    say "installing ${packages[*]}"
    "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -q
    "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -q --no-install-recommends "${packages[@]}"
    say "install took $(took "$start") s"
else
    say "compiler, Wine and GoogleTest sources already installed"
fi

# --- build ----------------------------------------------------------------------
# Headless: no display for Wine to open, ever.
unset DISPLAY WAYLAND_DISPLAY

start="$(now)"
cmake -S "$source_dir" -B "$build_dir" \
    -DCMAKE_TOOLCHAIN_FILE="$source_dir/cmake/toolchain-mingw-w64-x86_64.cmake" \
    -DSQ_WERROR=ON
say "configure took $(took "$start") s"

start="$(now)"
cmake --build "$build_dir" -j2
say "build took $(took "$start") s"

# --- tests ----------------------------------------------------------------------
launcher="$source_dir/cmake/wine/sq-wine"
prefix="$build_dir/wineprefix"
# Brought up here, outside CTest, so that a new prefix's seconds of set-up
# don't count against the first test's discovery, and stopped at the end so
# that no Wine process outlives the run.
# shellcheck disable=SC2317 # called by the trap
stop_wine() { "$launcher" --prefix="$prefix" --stop || true; }
trap stop_wine EXIT
start="$(now)"
"$launcher" --prefix="$prefix" --init
say "Wine start-up (prefix $prefix) took $(took "$start") s"

start="$(now)"
status=0
# Each test program runs all its cases in one Wine process; two programs at
# a time on the two cores.
reports="$build_dir/test-reports"
rm -rf "$reports"
(cd "$build_dir" && ctest --output-on-failure -j"${CTEST_PARALLEL_LEVEL:-2}" "$@") || status=$?
say "tests took $(took "$start") s"

# The cases of every program, as GoogleTest reported them.
"$source_dir/tools/test-report-summary.sh" "$build_dir"
exit "$status"
