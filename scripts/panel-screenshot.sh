#!/usr/bin/env bash
# A real panel without a display: a headless sway running waybar, with the
# monitor's status items in waybar's tray and `plvmonitor --bar waybar` in a
# custom module, and swaybar at the bottom running `plvmonitor --bar i3bar`,
# photographed with grim for the README (docs/panel.png, docs/panel-swaybar.png).
# Run it when you change what the panel shows; it is not part of the tests.
# Usage: scripts/panel-screenshot.sh [build dir, default build/dev] [output png]
#
# sway refuses to run as root: as root this script runs the panel as the
# unprivileged user "plvshot" (created when missing).
set -euo pipefail
cd "$(dirname "$0")/.."
root="$PWD"
build="$(realpath "${1:-build/dev}")"
out="$(realpath -m "${2:-docs/panel.png}")"

# This script's own packages, not needed by the build or the tests.
packages=(sway waybar grim dbus-daemon)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if ((${#missing[@]})); then
  sudo=(); ((EUID == 0)) || sudo=(sudo)
  "${sudo[@]}" apt-get install -y --no-install-recommends "${missing[@]}"
fi
[[ -x "$build/bin/plvmonitor" ]] || { echo "panel-screenshot: build plvmonitor first ($build/bin/plvmonitor)" >&2; exit 1; }

work="$(mktemp -d /tmp/plv-panel.XXXXXX)"
[[ -n "${PLV_KEEP_WORK:-}" ]] || trap 'rm -rf "$work"' EXIT  # PLV_KEEP_WORK=1 keeps the logs
mkdir -p "$work/home/.config/waybar" "$work/runtime" "$work/group"
chmod 700 "$work/runtime"

cat > "$work/home/.config/waybar/config" <<JSON
{
  "layer": "top", "position": "top", "height": 30,
  "modules-left": ["custom/label"],
  "modules-right": ["custom/plv", "tray", "clock"],
  "custom/label": {"format": "tray items and --bar waybar:"},
  "custom/plv": {"exec": "$build/bin/plvmonitor --bar waybar", "return-type": "json"},
  "tray": {"icon-size": 22, "spacing": 10},
  "clock": {"format": "{:%H:%M}"}
}
JSON
cat > "$work/home/.config/waybar/style.css" <<'CSS'
* { font-family: "DejaVu Sans"; font-size: 13px; }
window#waybar { background: #ececec; color: #1d1d1f; border-bottom: 1px solid #c8c8c8; }
#custom-label { padding: 0 10px; color: #6e6e73; }
#custom-plv { padding: 0 12px; margin: 3px 6px; border-radius: 5px; background: #dcdce0; }
#tray { padding: 0 8px; }
#clock { padding: 0 10px; }
CSS
cat > "$work/sway.conf" <<CONF
output HEADLESS-1 resolution 1000x200
exec waybar
bar {
  position bottom
  font DejaVu Sans 10
  status_command env QT_QPA_PLATFORM=offscreen PLV_GROUP_CONTAINER=$work/group $build/bin/plvmonitor --bar i3bar
}
exec env QT_QPA_PLATFORM=offscreen PLV_GROUP_CONTAINER=$work/group $build/bin/plvmonitor
exec sh -c 'sleep 12; grim -g "0,0 1000x30" $work/panel.png; grim -g "0,170 1000x30" $work/swaybar.png; busctl --user get-property org.kde.StatusNotifierWatcher /StatusNotifierWatcher org.kde.StatusNotifierWatcher RegisteredStatusNotifierItems > $work/items.txt; swaymsg exit'
CONF

runas=()
if ((EUID == 0)); then
  id plvshot >/dev/null 2>&1 || useradd --system --no-create-home --shell /usr/sbin/nologin plvshot
  chown -R plvshot "$work"
  runas=(runuser -u plvshot --)
fi
timeout 60 "${runas[@]}" env -i PATH=/usr/bin:/bin HOME="$work/home" XDG_RUNTIME_DIR="$work/runtime" \
  XDG_CONFIG_HOME="$work/home/.config" PLV_GROUP_CONTAINER="$work/group" \
  WLR_BACKENDS=headless WLR_RENDERER=pixman WLR_LIBINPUT_NO_DEVICES=1 \
  dbus-run-session -- sway -c "$work/sway.conf" > "$work/sway.log" 2>&1 || true

if [[ ! -s "$work/panel.png" ]]; then
  echo "panel-screenshot: no picture; sway said:" >&2
  tail -20 "$work/sway.log" >&2
  exit 1
fi
mkdir -p "$(dirname "$out")"
cp "$work/panel.png" "$out"
[[ ! -s "$work/swaybar.png" ]] || cp "$work/swaybar.png" "${out%.png}-swaybar.png"
echo "registered: $(cat "$work/items.txt" 2>/dev/null)"
echo "$out"
