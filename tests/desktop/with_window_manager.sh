#!/usr/bin/env bash
# Runs a command with a window manager on the X server that DISPLAY names, and ends it afterwards.
# It is openbox, or the command in WINGBELL_WINDOW_MANAGER.
#
#   with_window_manager.sh COMMAND [ARGUMENT...]
set -euo pipefail

log=$(mktemp)
read -ra command <<<"${WINGBELL_WINDOW_MANAGER:-openbox}"
"${command[@]}" >"$log" 2>&1 &
manager=$!
clean_up() {
    kill "$manager" 2>/dev/null || true
    wait "$manager" 2>/dev/null || true
    rm -f "$log"
}
trap clean_up EXIT

until xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null | grep -q '#'; do
    if ! kill -0 "$manager" 2>/dev/null; then # it has ended
        cat "$log" >&2
        exit 1
    fi
    read -r -t 0.05 <> <(:) || true
done

"$@"
