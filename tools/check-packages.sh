#!/usr/bin/env bash
# Proves the packages of tools/build-packages.sh work, as a user would meet
# them. As root (it installs the .deb and removes it again; a stutterquirk
# package installed before is left installed).
#
#   tools/check-packages.sh [PACKAGES_DIR] [WINDOWS_BUILD_DIR]
#
# Every package holds what it should (with the README's user part, the
# licence and the user guide) and nothing else.
# Linux: the .deb depends on libc, libstdc++ and OpenImageIO (the plug-in on
# the C and C++ runtimes alone); it installs with dpkg -i, and the installed
# ofx-inspect and ofx-render find the plug-in in /usr/OFX/Plugins with no
# OFX_PLUGIN_PATH; the tar.gz's bundle loads.
# Windows, under Wine in a new prefix: the installer runs silently (/S), our
# Windows host then loads the bundle from
# C:\Program Files\Common Files\OFX\Plugins and renders a frame, and the
# registered uninstaller leaves that folder as it found it.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
packages=$(cd "${1:-$root/out/packages}" && pwd)
windows=$(cd "${2:-$root/build-win64}" && pwd)
wine="$root/cmake/wine/sq-wine"
identifier=com.veltrix.StutterQuirk

fail() {
    echo "check-packages: FAILED: $*" >&2
    exit 1
}
ok() { echo "check-packages: ok: $*"; }
# The one file matching a pattern in the packages folder.
one() {
    local found=("$packages"/$1)
    [[ ${#found[@]} -eq 1 && -f ${found[0]} ]] || fail "expected one $1 in $packages"
    echo "${found[0]}"
}
# The files (not folders) an archive listing names, sorted.
files_only() { grep -v '/$' | sed 's|^\./||' | sort; }
same() { # same WHAT EXPECTED ACTUAL
    [[ "$2" == "$3" ]] || fail "$1:"$'\n'"expected:"$'\n'"$2"$'\n'"found:"$'\n'"$3"
}

[[ $(id -u) -eq 0 ]] || fail "run as root: the .deb is installed and removed again"
tgz=$(one 'StutterQuirk-*-Linux-x86-64.tar.gz')
deb=$(one 'stutterquirk_*_amd64.deb')
zip=$(one 'StutterQuirk-*-Win64.zip')
setup=$(one 'StutterQuirk-*-Win64-setup.exe')
version=$(basename "$tgz" -Linux-x86-64.tar.gz)
version=${version#StutterQuirk-}
inspect_exe="$windows/tools/inspect/ofx-inspect.exe"
[[ -f $inspect_exe ]] || fail "no $inspect_exe: run tools/build-packages.sh first"

# The user guide and its pictures, as every package carries them.
guide=$(cd "$root" && printf '%s\n' docs/user-guide.md docs/images/*.png)

work=$(mktemp -d)
prefix="$work/wineprefix"
installed_before=false
if dpkg-query -W -f='${Status}' stutterquirk 2>/dev/null | grep -q "install ok installed"; then
    installed_before=true
fi
cleanup() {
    "$wine" --prefix="$prefix" --stop >/dev/null 2>&1 || true
    if ! $installed_before && dpkg-query -W stutterquirk >/dev/null 2>&1; then
        dpkg -r stutterquirk >/dev/null 2>&1 || true
    fi
    rm -rf "$work"
}
trap cleanup EXIT

# --- Linux: tar.gz ----------------------------------------------------------
top="StutterQuirk-$version-Linux-x86-64"
same "files in $(basename "$tgz")" \
    "$(printf '%s\n' "$top/LICENSE.txt" "$top/README.txt" \
        "$top/StutterQuirk.ofx.bundle/Contents/Linux-x86-64/StutterQuirk.ofx" \
        $(sed "s|^|$top/|" <<<"$guide") | sort)" \
    "$(tar -tzf "$tgz" | files_only)"
tar -xzf "$tgz" -C "$work"
grep -q "Stutter Quirk" "$work/$top/README.txt" || fail "README.txt of the tar.gz is not the README"
grep -q "Copyright" "$work/$top/LICENSE.txt" || fail "LICENSE.txt of the tar.gz holds no licence"
ok "$(basename "$tgz") holds the bundle folder, the README, the licence and the user guide"

# --- Linux: .deb contents and dependencies ------------------------------------
same "files in $(basename "$deb")" \
    "$(printf '%s\n' usr/OFX/Plugins/StutterQuirk.ofx.bundle/Contents/Linux-x86-64/StutterQuirk.ofx \
        usr/bin/ofx-inspect usr/bin/ofx-render usr/share/doc/stutterquirk/README.txt \
        usr/share/doc/stutterquirk/copyright $(sed "s|^|usr/share/doc/stutterquirk/|" <<<"$guide") |
        sort)" \
    "$(dpkg-deb -c "$deb" | awk '{print $6}' | files_only)"
depends=$(dpkg-deb -f "$deb" Depends)
for needed in 'libc6 ' 'libstdc\+\+6 ' 'libopenimageio[0-9.]+ '; do
    grep -Eq "(^|, )$needed" <<<"$depends" || fail "Depends lacks ${needed% }: $depends"
done
! grep -q -- '-dev' <<<"$depends" || fail "Depends names a development package: $depends"
dpkg-deb -x "$deb" "$work/deb"
plugin_needs=$(objdump -p "$work/deb/usr/OFX/Plugins/StutterQuirk.ofx.bundle/Contents/Linux-x86-64/StutterQuirk.ofx" |
    awk '$1 == "NEEDED" {print $2}' | sort | tr '\n' ' ')
for lib in $plugin_needs; do
    case $lib in
    libc.so.* | libm.so.* | libstdc++.so.* | libgcc_s.so.*) ;;
    *) fail "the plug-in needs $lib, beyond the C and C++ runtimes" ;;
    esac
done
ok "$(basename "$deb"): contents as expected; Depends: $depends; the plug-in needs $plugin_needs"

# --- Linux: install and find the plug-in with no OFX_PLUGIN_PATH ---------------
dpkg -i "$deb" >/dev/null || fail "dpkg -i $(basename "$deb")"
dpkg-query -W -f='${Status}' stutterquirk | grep -q "install ok installed" ||
    fail "stutterquirk is not installed after dpkg -i"
found=$(env -u OFX_PLUGIN_PATH /usr/bin/ofx-inspect --render 0 "$identifier") ||
    fail "installed ofx-inspect did not find $identifier:"$'\n'"$found"
grep -Eq "binary: +/usr/OFX/Plugins/StutterQuirk.ofx.bundle/Contents/Linux-x86-64/StutterQuirk.ofx" <<<"$found" ||
    fail "installed ofx-inspect did not load the plug-in from /usr/OFX/Plugins:"$'\n'"$found"
grep -q "render frame 0 (Filter, 64x36 float RGBA): OK, 64x36, 2304 of 2304 pixels visible" <<<"$found" ||
    fail "the installed plug-in did not render frame 0:"$'\n'"$found"
ok "dpkg -i; /usr/bin/ofx-inspect found and rendered $identifier in /usr/OFX/Plugins"
rendered=$(env -u OFX_PLUGIN_PATH /usr/bin/ofx-render render "$identifier" --sample \
    --sample-size 96x54 --frames 0-3 -o "$work/render/f.####.png" 2>&1) ||
    fail "installed ofx-render failed:"$'\n'"$rendered"
grep -q "wrote 4 of 4 frames" <<<"$rendered" || fail "installed ofx-render:"$'\n'"$rendered"
ok "/usr/bin/ofx-render rendered 4 frames through $identifier"
tarred=$(env -u OFX_PLUGIN_PATH /usr/bin/ofx-inspect --render 0 "$work/$top/StutterQuirk.ofx.bundle") ||
    fail "the bundle of the tar.gz does not load:"$'\n'"$tarred"
grep -q "render frame 0 .*: OK" <<<"$tarred" || fail "the bundle of the tar.gz:"$'\n'"$tarred"
ok "the bundle of the tar.gz loads and renders"
if ! $installed_before; then
    dpkg -r stutterquirk >/dev/null || fail "dpkg -r stutterquirk"
    for gone in /usr/OFX/Plugins/StutterQuirk.ofx.bundle /usr/bin/ofx-inspect /usr/bin/ofx-render; do
        [[ ! -e $gone ]] || fail "dpkg -r left $gone"
    done
    ok "dpkg -r removed the plug-in and the commands"
fi

# --- Windows: zip ------------------------------------------------------------
top="StutterQuirk-$version-Win64"
same "files in $(basename "$zip")" \
    "$(printf '%s\n' "$top/LICENSE.txt" "$top/README.txt" \
        "$top/StutterQuirk.ofx.bundle/Contents/Win64/StutterQuirk.ofx" \
        $(sed "s|^|$top/|" <<<"$guide") | sort)" \
    "$(cmake -E tar tf "$zip" | files_only)"
ok "$(basename "$zip") holds the bundle folder, the README, the licence and the user guide"

# --- Windows: installer, host, uninstaller under Wine ---------------------------
"$wine" --prefix="$prefix" --init || fail "Wine did not start in $prefix"
drive_c="$prefix/drive_c"
plugins="$drive_c/Program Files/Common Files/OFX/Plugins"
ours="$drive_c/Program Files/Veltrix/Stutter Quirk"
key='HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall\Veltrix StutterQuirk'
# Another vendor's plug-in, which the uninstaller must leave alone.
mkdir -p "$plugins/Other.ofx.bundle/Contents/Win64"
touch "$plugins/Other.ofx.bundle/Contents/Win64/Other.ofx"

"$wine" --prefix="$prefix" "$setup" /S || fail "$(basename "$setup") /S failed"
for f in "$plugins/StutterQuirk.ofx.bundle/Contents/Win64/StutterQuirk.ofx" \
    "$ours/README.txt" "$ours/LICENSE.txt" "$ours/Uninstall.exe" "$ours/docs/user-guide.md"; do
    [[ -f $f ]] || fail "the installer did not make ${f#"$drive_c"/}"
done
registered=$("$wine" --prefix="$prefix" reg query "$key" /v QuietUninstallString 2>/dev/null) ||
    fail "the installer registered no uninstaller ($key)"
ok "$(basename "$setup") /S installed the bundle in C:\\Program Files\\Common Files\\OFX\\Plugins and registered its uninstaller"

found=$(env -u OFX_PLUGIN_PATH "$wine" --prefix="$prefix" "$inspect_exe" --render 0 "$identifier" | tr -d '\r') ||
    fail "our Windows host did not find $identifier:"$'\n'"$found"
grep -Fq 'binary:                C:\Program Files\Common Files\OFX\Plugins\StutterQuirk.ofx.bundle\Contents\Win64\StutterQuirk.ofx' <<<"$found" ||
    fail "our Windows host did not load the bundle from the Common Files path:"$'\n'"$found"
grep -q "render frame 0 (Filter, 64x36 float RGBA): OK, 64x36, 2304 of 2304 pixels visible" <<<"$found" ||
    fail "the installed plug-in did not render frame 0 under Wine:"$'\n'"$found"
ok "our Windows host loaded the bundle from the Common Files path and rendered a frame"

# The registered command, as "Installed apps" runs it. NSIS uninstallers
# copy themselves elsewhere and return at once: wait for the copy's work.
uninstall=$(sed -n 's/.*QuietUninstallString *REG_SZ *//p' <<<"$registered" | tr -d '\r')
[[ $uninstall == *' /S' ]] || fail "the registered quiet uninstall is '$uninstall'"
uninstaller=${uninstall% /S}
uninstaller=${uninstaller//\"/}
"$wine" --prefix="$prefix" "$uninstaller" /S || fail "$uninstall failed"
for _ in $(seq 1 120); do
    [[ -e $ours || -e "$plugins/StutterQuirk.ofx.bundle" ]] || break
    sleep 0.5
done
[[ ! -e "$plugins/StutterQuirk.ofx.bundle" ]] || fail "the uninstaller left the bundle"
[[ ! -e "$drive_c/Program Files/Veltrix" ]] || fail "the uninstaller left C:\\Program Files\\Veltrix"
! "$wine" --prefix="$prefix" reg query "$key" >/dev/null 2>&1 || fail "the uninstaller left $key"
# Nothing of ours stays in the shared folder: only what was there before.
same "what the uninstaller left in the plug-in folder" "Other.ofx.bundle" "$(ls -A "$plugins")"
ok "the uninstaller removed the bundle, its folder and its registration; the plug-in folder holds only what it held before"

echo "check-packages: all packages work"
