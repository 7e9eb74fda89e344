#!/usr/bin/env bash
# Draws the icons' PNG files from the drawings beside them: ./build_app.sh pictures
#
# The PNG files are committed, so that a build needs nothing to draw with; a test draws them again and compares.
# Every size up to 64 has a drawing of its own, with as much as can be told apart there.
#
#   draw_icons.sh [FOLDER]      into that folder instead
set -euo pipefail
icons=$(cd "$(dirname "${BASH_SOURCE[0]}")/icons" && pwd)
folder=${1:-$icons}
for size in 16 22 24 32 48 64 128 256; do
    drawing=$icons/wingbell-control-$size.svg
    [ -f "$drawing" ] || drawing=$icons/wingbell-control.svg
    rsvg-convert --width "$size" --height "$size" --output "$folder/wingbell-control-$size.png" "$drawing"
done
