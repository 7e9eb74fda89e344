#!/usr/bin/env bash
# Runs a command on a Wayland compositor of its own, and ends it after. The compositor shows its
# screen in a window of the X server that DISPLAY names, by which the screen has a keyboard and a
# pointer; the command gets both names, and the toolkit takes Wayland.
#
#   on_own_wayland.sh COMMAND [ARGUMENT...]
set -euo pipefail

folder=$(mktemp -d)
compositor=
clean_up() {
    kill "$compositor" 2>/dev/null || true
    wait "$compositor" 2>/dev/null || true
    rm -rf "$folder"
}
trap clean_up EXIT

printf '[core]\nidle-time=0\n[shell]\npanel-position=none\nlocking=false\nanimation=none\nstartup-animation=none\nbackground-color=0xff305070\n' >"$folder/weston.ini"
weston --backend=x11-backend.so --use-pixman --width=1200 --height=940 --debug --socket=desk \
    --config="$folder/weston.ini" >"$folder/weston.log" 2>&1 &
compositor=$!
until [ -S "$XDG_RUNTIME_DIR/desk" ]; do
    kill -0 "$compositor" # a compositor that has ended never comes
    read -r -t 0.05 <> <(:) || true
done

WAYLAND_DISPLAY=desk QT_QPA_PLATFORM=wayland "$@"
