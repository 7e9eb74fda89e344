#!/usr/bin/env bash
# Runs a command with its own X server, session bus and window manager, and ends them afterwards.
#
#   on_own_screen.sh COMMAND [ARGUMENT...]
set -euo pipefail

folder=$(mktemp -d)
children=()
clean_up() {
    for child in "${children[@]}"; do
        kill "$child" 2>/dev/null || true
        wait "$child" 2>/dev/null || true
    done
    rm -rf "$folder"
}
trap clean_up EXIT

# Without -noreset the server would restart when its last client leaves, and reject a client that connects at
# that moment, such as the window manager after xprop.
mkfifo "$folder/display"
Xvfb -displayfd 3 -screen 0 "${WINGBELL_SCREEN:-1280x1024x24}" -nolisten tcp -noreset \
    3>"$folder/display" 2>"$folder/xvfb.log" &
children+=($!)
read -r number <"$folder/display"
export DISPLAY=:$number

dbus-run-session -- "$(dirname "${BASH_SOURCE[0]}")/with_window_manager.sh" "$@"
