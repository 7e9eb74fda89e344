#!/usr/bin/env bash
# Runs a command as an ordinary user in a private root: the system's /usr read-only, its own "/Users" and
# "/tmp", a network with only the loopback interface, an X server with a window manager, and a session bus.
# Everything ends with the command.
#
#   in_private_root.sh BUILD_FOLDER COMMAND [ARGUMENT...]
#
# With WINGBELL_OUTPUT set, that folder is /output, the only one that is kept. With WINGBELL_KEEP_NETWORK=1
# the caller's network is used.
# "/Users" is a disk of 16 MB, which a test may fill. The application is installed from the build
# folder to /opt/wingbell, the tests are in /tests, the benchmarks in /bench.
set -euo pipefail

# Not allowed in a chroot, for instance: that is not the program's fault, so the test is skipped. In continuous
# integration everything must run, so there it fails.
if ! bwrap --unshare-all --uid 1000 --ro-bind / / --proc /proc --dev /dev /bin/true; then
    echo "This system does not allow a private root, so this was not tested."
    [ "${CI:-}" != true ] || exit 1
    exit 77
fi

build=$1
shift
tests=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
staging=$(mktemp -d)
trap 'rm -rf "$staging"' EXIT
output=()
[ -z "${WINGBELL_OUTPUT:-}" ] || output=(--bind "$WINGBELL_OUTPUT" /output)
network=()
[ "${WINGBELL_KEEP_NETWORK:-}" != 1 ] || network=(--share-net)
# The ordinary user need not be known to the machine; a message bus asks who it is.
echo "crew:x:1000:1000::/home/crew:/bin/sh" >"$staging/passwd"
echo "crew:x:1000:" >"$staging/group"
cmake --install "$build" --prefix "$staging/wingbell" >/dev/null

bwrap \
    --unshare-all "${network[@]}" --new-session --die-with-parent --uid 1000 --gid 1000 \
    --ro-bind /usr /usr --symlink usr/bin /bin --symlink usr/sbin /sbin \
    --symlink usr/lib /lib --symlink usr/lib64 /lib64 \
    --ro-bind /etc /etc --ro-bind "$staging/passwd" /etc/passwd --ro-bind "$staging/group" /etc/group \
    --ro-bind /var /var --proc /proc --dev /dev \
    --tmpfs /tmp --dir /tmp/.X11-unix --chmod 1777 /tmp/.X11-unix \
    --tmpfs /run --perms 0700 --dir /run/user/1000 --size 16777216 --tmpfs /Users --perms 1777 --dir /Users/Shared \
    --perms 0700 --dir /home/crew \
    --ro-bind "$staging/wingbell" /opt/wingbell --ro-bind "$tests" /tests --ro-bind "$tests/../bench" /bench \
    "${output[@]}" \
    --clearenv --setenv PATH /usr/bin:/bin --setenv HOME /home/crew --setenv LC_ALL C.UTF-8 \
    --setenv XDG_RUNTIME_DIR /run/user/1000 --setenv QT_LINUX_ACCESSIBILITY_ALWAYS_ON 1 \
    --setenv PYTHONDONTWRITEBYTECODE 1 --setenv WINGBELL_REST "${WINGBELL_REST:-60}" --setenv WINGBELL_SCREEN "${WINGBELL_SCREEN:-1280x1024x24}" \
    --setenv WINGBELL_WINDOW_MANAGER "${WINGBELL_WINDOW_MANAGER:-openbox}" \
    --chdir /tmp \
    /bin/bash /tests/desktop/on_own_screen.sh "$@"
