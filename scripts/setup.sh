#!/usr/bin/env bash
# Installs everything the build, the tests and the benchmarks need on Debian 12.
# Idempotent: does nothing when every package is already there.
# `setup.sh --list` prints the list (CI checks that the build uses nothing else).
set -euo pipefail

packages=(
  build-essential cmake ninja-build ccache pkg-config git
  qt6-base-dev qt6-base-dev-tools qt6-qpa-plugins qt6-svg-dev qt6-tools-dev qt6-tools-dev-tools qt6-l10n-tools libqt6opengl6-dev
  qt6-wayland
  libgl-dev libplist-dev libpci-dev pci.ids
  libgtest-dev libgmock-dev libbenchmark-dev
  fonts-dejavu-core adwaita-icon-theme
  python3 python3-psutil procps
  dbus-daemon xvfb x11-utils libxcb1-dev libxcursor1 systemd iproute2
  strace
)
if [ "${1:-}" = --list ]; then
  printf '%s\n' "${packages[@]}"
  exit 0
fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

if [ "$(id -u)" -eq 0 ]; then
  sudo=()
elif command -v sudo >/dev/null 2>&1; then
  sudo=(sudo)
else
  echo "setup: need root or sudo to install: ${missing[*]}" >&2
  exit 1
fi
echo "setup: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
