#!/usr/bin/env bash
# check-install.sh <build dir> <external project dir>
set -euo pipefail
build=$1
external=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

cmake --install "$build" --prefix "$prefix" >/dev/null

# The installed program finds the installed framework resources, not the build tree's.
export PLV_GROUP_CONTAINER=$work/group
out=$("$prefix/bin/plvmonitor" --info)
echo "$out"
grep -q "framework:.*$prefix/" <<<"$out" || { echo "installed plvmonitor does not use the installed framework bundle"; exit 1; }
grep -q "group container: $work/group" <<<"$out" || { echo "group container override ignored"; exit 1; }
test -f "$prefix/share/PLVCommon/Contents/Info.plist"

# The helper with its unit, D-Bus files and the desktop entry that carries its version.
helper=Q4HZ8RMW2C.com.tallowcrest.plvsmchelper3
test -x "$prefix/bin/plvhelper"
grep -q "^BusName=$helper$" "$prefix/lib/systemd/system/$helper.service"
grep -q "allow own=\"$helper\"" "$prefix/share/dbus-1/system.d/$helper.conf"
grep -q "^SystemdService=$helper.service$" "$prefix/share/dbus-1/system-services/$helper.service"
grep -q "^X-PLV-Bundle-Version=[0-9]\{8\}$" "$prefix/share/applications/com.tallowcrest.cobaltwingpluginsmanager3.desktop"
test -f "$prefix/share/PLVCommon/Contents/Resources/plvhelper.html"

# Desktop integration: the menu entry, the icon in the XDG theme, and the
# autostart entry that the menu's "Start at login" copies, naming the installed program.
grep -q "^Exec=plvmonitor" "$prefix/share/applications/plvmonitor.desktop"
grep -q "^Icon=plvmonitor" "$prefix/share/applications/plvmonitor.desktop"
test -s "$prefix/share/icons/hicolor/scalable/apps/plvmonitor.svg"
test -f "$prefix/share/PLVCommon/autostart/plvmonitor.desktop"

# pkg-config describes the installed library.
libdir=$(dirname "$(find "$prefix" -name 'libPLVCommon.so' | head -n1)")
PKG_CONFIG_PATH=$libdir/pkgconfig pkg-config --cflags --libs PLVCommon | grep -q -- "-lPLVCommon"

# A bundle built outside this tree with find_package(PLVCommon).
cmake -S "$external" -B "$work/external" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/external" >/dev/null
bundle=$work/external/out/External.plvbundle3/Contents
test -f "$bundle/Info.plist"
test -f "$bundle/Linux/libExternal.so"
grep -q "<string>com.example.external</string>" "$bundle/Info.plist"
echo "install check passed"
