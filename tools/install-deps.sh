#!/usr/bin/env bash
# Installs what building and testing need on Debian 12, as root; --windows
# adds what the Windows build and Wine need, --clang clang with its
# sanitizer runtimes and libFuzzer.
# Packages already present are not asked for again, so repeated runs are
# quick and work offline.
set -euo pipefail

packages=(g++ cmake make binutils libgtest-dev libgmock-dev libbenchmark-dev clang-format pkg-config
    libopenimageio-dev openimageio-tools)
for option in "$@"; do
    case "$option" in
    # The Windows build and its tests under Wine, and the packages (NSIS makes
    # the installer; dpkg-dev reads the .deb's dependencies from its binaries).
    --windows) packages+=(g++-mingw-w64-x86-64-posix wine64 wine googletest nsis dpkg-dev) ;;
    # The sanitizer runtimes and libFuzzer come with clang's runtime libraries.
    --clang) packages+=(clang libclang-rt-dev) ;;
    *)
        echo "install-deps: unknown option $option (known: --windows, --clang)" >&2
        exit 2
        ;;
    esac
done

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if (( ${#missing[@]} )); then
    if [[ $(id -u) -ne 0 ]]; then
        echo "install-deps: missing packages: ${missing[*]} (run as root to install them)" >&2
        exit 1
    fi
    echo "install-deps: installing ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq
    apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
