#!/usr/bin/env bash
# Regenerates the README's pictures from plvgallery: renders every view, then
# copies the few the README shows into docs/gallery/. DejaVu Sans keeps the
# pictures the same from one machine to the next.
# Usage: scripts/update-readme-pictures.sh [build dir, default build/dev]
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build/dev}"
cmake --build "$build" --target plvgallery
out="$(mktemp -d)"
trap 'rm -rf "$out"' EXIT
QT_QPA_PLATFORM=offscreen "$build/bin/plvgallery" --font "DejaVu Sans" "$out" >/dev/null
mkdir -p docs/gallery
for picture in theme-roles-light@1x theme-roles-dark@1x widget-palette-light@1x widget-palette-dark@1x \
               PLVTextPanelView-dark@2x PLVTextStatusbarView-light@2x \
               PLVMenuBarText-light@2x PLVMenuBarText-dark@2x \
               PLVMenubarIndicatorsView-light@2x PLVMenubarIndicatorsView-dark@2x \
               HVColorWell-light@1x PLVSmallControls-dark@1x \
               PLVGraph-light@1x PLVGraph-dark@1x PLVGaugeViewMultiple-light@2x PLVGaugeViewMultiple-dark@2x \
               PLVProgressbar-light@2x PLVProgressbar-dark@2x \
               PLVGenericOverviewView-light@2x PLVGenericOverviewView-dark@2x; do
  cp "$out/$picture.png" "docs/gallery/$picture.png"
done
ls -l docs/gallery
