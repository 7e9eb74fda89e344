#!/usr/bin/env bash
# Runs a command on a machine named "desk" in a network like that of a show, where it has one address and
# nothing else responds, so that the guide's pictures show the same addresses on every machine.
#
#   in_show_network.sh COMMAND [ARGUMENT...]
set -euo pipefail

if [ "${WINGBELL_OWN_NETWORK:-}" != 1 ]; then
    # The variable tells tests/fixtures/own_network.py that it has what it would make for itself.
    exec env WINGBELL_OWN_NETWORK=1 unshare --user --map-root-user --net --uts --mount --pid --fork --kill-child \
        --mount-proc "${BASH_SOURCE[0]}" "$@"
fi
hostname desk
ip link set lo up
ip link add show0 type veth peer name crew0
ip address add 192.168.1.20/24 dev show0
ip link set show0 up
ip link set crew0 up
exec "$@"
