#!/usr/bin/env bash
# Makes the pictures of the user guide (docs/user-guide.md) from the built-in
# sample clip, rendered through the plug-in by ofx-render:
#   sheet-<setting>.png     frames 0-23 in a grid, one sheet per setting
#   timeline-<setting>.png  frames 0-47 in one row: the on/off pattern
#
#   tools/make-docs-images.sh [OUTPUT_DIR] [BUILD_DIR]
#   tools/make-docs-images.sh --check [BUILD_DIR]
#
# OUTPUT_DIR defaults to docs/images (the committed pictures), BUILD_DIR to
# build, configured and built here when needed. Fails when the guide shows a
# picture that this script does not make. --check makes the pictures in a
# temporary folder and fails unless they are byte for byte the committed
# ones (frames render to the same bytes everywhere, so they must be).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
check=0
if [[ "${1:-}" == "--check" ]]; then
    check=1
    shift
    out=$(mktemp -d)
    build=${1:-$root/build}
else
    out=${1:-$root/docs/images}
    build=${2:-$root/build}
fi

"$root/tools/install-deps.sh"
cmake -S "$root" -B "$build" >/dev/null
cmake --build "$build" -j2 --target StutterQuirk ofx-render >/dev/null
render="$build/tools/render/ofx-render"
bundle="$build/StutterQuirk.ofx.bundle"
mkdir -p "$out"
frames=$(mktemp -d)
if ((check)); then
    trap 'rm -rf "$frames" "$out"' EXIT
else
    trap 'rm -rf "$frames"' EXIT
fi
made=()

# picture NAME FRAMES SAMPLE_SIZE [ofx-render options...]
picture() {
    local name=$1 range=$2 size=$3
    shift 3
    "$render" render "$bundle" --sample --sample-size "$size" --frames "$range" \
        -o "$frames/$name/f.####.png" --contact-sheet "$out/$name.png" "$@" |
        grep "^contact sheet:" | sed "s|^contact sheet: $out/|  |"
    made+=("$name.png")
}
sheet() { picture "sheet-$1" 0-23 320x180 "${@:2}"; }
# Small frames: the strip shows when each frame is on, not what it shows.
timeline() { picture "timeline-$1" 0-47 32x18 --sheet-columns 48 "${@:2}"; }

echo "make-docs-images: contact sheets (frames 0-23) in $out"
sheet defaults
sheet random-quirk-50 --set randomQuirk=50
sheet random-quirk-100 --set randomQuirk=100
sheet quirk-time-1 --set quirkTime=1
sheet quirk-time-7.5 --set quirkTime=7.5
sheet quirk-time-20 --set quirkTime=20
sheet increase-quirky --set increaseQuirky=true
sheet unmasked --set unmasked=true
sheet render-scale-0.5 --scale 0.5

echo "make-docs-images: timeline strips (frames 0-47) in $out"
timeline defaults
timeline quirk-time-1 --set quirkTime=1
timeline quirk-time-7.5 --set quirkTime=7.5
timeline quirk-time-20 --set quirkTime=20
timeline random-quirk-50 --set randomQuirk=50
timeline random-quirk-100 --set randomQuirk=100
timeline random-quirk-0-to-100 --set randomQuirk=0@0,100@47

# Every picture the guide shows must be one made here.
missing=0
while read -r shown; do
    if [[ ! " ${made[*]} " == *" $shown "* ]]; then
        echo "make-docs-images: docs/user-guide.md shows images/$shown, which this script does not make" >&2
        missing=1
    fi
done < <(grep -o 'images/[^)]*\.png' "$root/docs/user-guide.md" | sed 's|^images/||' | sort -u)
if ((check)); then
    for name in "${made[@]}"; do
        if ! cmp -s "$out/$name" "$root/docs/images/$name"; then
            echo "make-docs-images: docs/images/$name is not the picture this script makes now;" \
                "run tools/make-docs-images.sh and commit docs/images" >&2
            missing=1
        fi
    done
    for committed in "$root"/docs/images/*.png; do
        name=$(basename "$committed")
        if [[ ! " ${made[*]} " == *" $name "* ]]; then
            echo "make-docs-images: docs/images/$name is made by nothing" >&2
            missing=1
        fi
    done
    ((missing)) || echo "make-docs-images: the committed pictures are the ones made now"
fi
exit $missing
