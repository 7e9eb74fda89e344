#!/usr/bin/env bash
# Runs a command with its own Wayland compositor, and ends it afterwards. The compositor shows its
# screen in a window of the X server that DISPLAY names, and so has a keyboard and a pointer. The
# command gets both names; the toolkit uses Wayland.
#
#   on_own_wayland.sh COMMAND [ARGUMENT...]
#
# The screen has WINGBELL_OUTPUT_SIZE points (WIDTHxHEIGHT), each of WINGBELL_OUTPUT_SCALE by as many
# pixels; they must fit on the X server's screen. With WINGBELL_OUTPUT_BAR=top the desktop has a
# bar that programs are not told about.
set -euo pipefail

folder=$(mktemp -d)
compositor=
clean_up() {
    kill "$compositor" 2>/dev/null || true
    wait "$compositor" 2>/dev/null || true
    rm -rf "$folder"
}
trap clean_up EXIT

size=${WINGBELL_OUTPUT_SIZE:-1200x940}
printf '[core]\nidle-time=0\n[shell]\npanel-position=%s\npanel-color=0xff305070\nclock-format=none\nlocking=false\nanimation=none\nstartup-animation=none\nbackground-color=0xff305070\n' \
    "${WINGBELL_OUTPUT_BAR:-none}" >"$folder/weston.ini"
weston --backend=x11-backend.so --use-pixman --width="${size%x*}" --height="${size#*x}" --scale="${WINGBELL_OUTPUT_SCALE:-1}" --debug --socket=desk \
    --config="$folder/weston.ini" >"$folder/weston.log" 2>&1 &
compositor=$!
until [ -S "$XDG_RUNTIME_DIR/desk" ]; do
    kill -0 "$compositor" # fails if the compositor has ended
    read -r -t 0.05 <> <(:) || true
done

WAYLAND_DISPLAY=desk QT_QPA_PLATFORM=wayland "$@"
