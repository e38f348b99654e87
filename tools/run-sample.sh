#!/usr/bin/env bash
# Builds the plug-in and our OpenFX host, then shows what a host sees when it
# loads the Stutter Quirk bundle.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}

"$root/tools/install-deps.sh"
cmake -S "$root" -B "$build" >/dev/null
cmake --build "$build" -j"$(nproc)" --target StutterQuirk ofx-inspect
"$build/tools/inspect/ofx-inspect" "$build/StutterQuirk.ofx.bundle"
