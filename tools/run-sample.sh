#!/usr/bin/env bash
# Builds the plug-in, our OpenFX host and ofx-render, shows what a host sees
# when it loads the Stutter Quirk bundle, then renders the built-in sample
# clip through it: out/sample/frame.####.png and out/sample/contact-sheet.png.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
out=$root/out/sample

"$root/tools/install-deps.sh"
cmake -S "$root" -B "$build" >/dev/null
cmake --build "$build" -j"$(nproc)" --target StutterQuirk ofx-inspect ofx-render
"$build/tools/inspect/ofx-inspect" "$build/StutterQuirk.ofx.bundle"

echo
rm -f "$out"/frame.*.png "$out"/contact-sheet.png
"$build/tools/render/ofx-render" render "$build/StutterQuirk.ofx.bundle" --sample \
    --frames 0-23 -o "$out/frame.####.png" --contact-sheet "$out/contact-sheet.png"
echo
echo "Rendered frames:  $out/frame.0000.png .. frame.0023.png"
echo "Contact sheet:    $out/contact-sheet.png"
