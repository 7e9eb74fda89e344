#!/usr/bin/env bash
# Tries what is committed on an empty Debian 12 and an empty Debian 13: the README's commands, every test that a change
# must pass, and the package. That is built twice, in different folders and at different times, and must be the same; then
# it is installed on another empty system, used and removed (try_package.sh). As root:
#
#   packaging/try_systems.sh [SUITE...]      bookworm and trixie where none is named
#
# Needs debootstrap, git and what try_package.sh needs, about 12 GB below /tmp and an hour and a half for each, and the
# archive of Debian or WINGBELL_MIRROR. It removes what it makes.
set -euo pipefail

say() { printf '%s\n' "try_systems.sh: $*"; }

# Within namespaces of its own: what is mounted and what runs ends with it. A change of the root by chroot would not do:
# the tests make namespaces, too, which the system does not allow there.
inside() {
    local root=$1
    mount --bind "$root" "$root"
    mount -t proc proc "$root/proc"
    mount --rbind --make-rslave /dev "$root/dev"
    mount --rbind --make-rslave /sys "$root/sys"
    mount -t tmpfs tmpfs "$root/run"
    cd "$root"
    pivot_root . old
    umount -l /old
    exec /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 CI=true bash -euxo pipefail -c '
        cd /home/wingbell
        ./build_app.sh
        ./build_app.sh test
        ./build_app.sh package
        cp -a /home/wingbell/. /elsewhere
        cd /elsewhere
        rm -r build build-sanitizers
        umask 077
        ./build_app.sh package
        cmp /home/wingbell/build/package/*.deb /elsewhere/build/package/*.deb'
}

try() {
    local suite=$1 root=$work/$1
    say "making an empty $suite"
    debootstrap --variant=minbase "$suite" "$root" ${WINGBELL_MIRROR:+"$WINGBELL_MIRROR"} >"$work/words" 2>&1 || {
        tail -n 5 "$work/words" >&2
        return 1
    }
    mkdir "$root/old" "$root/elsewhere"
    printf '#!/bin/sh\nexit 101\n' >"$root/usr/sbin/policy-rc.d" # nothing that is installed starts a service
    chmod 755 "$root/usr/sbin/policy-rc.d"
    git clone --quiet "$top" "$root/home/wingbell"
    unshare --mount --propagation private --pid --fork --kill-child "${BASH_SOURCE[0]}" --inside "$root"
    "$top/packaging/try_package.sh" "$suite" "$root"/home/wingbell/build/package/*.deb "$PWD/try-$suite.png"
    rm -rf --one-file-system "$root"
    say "all is well on $suite"
}

if [ "${1:-}" = --inside ]; then
    inside "$2"
fi

[ "$(id -u)" -eq 0 ] || {
    say "only root may make another root; run this with sudo." >&2
    exit 1
}
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
work=$(mktemp -d /tmp/try-systems.XXXXXX)
trap 'rm -rf --one-file-system "$work"' EXIT
[ $# -gt 0 ] || set -- bookworm trixie
for suite in "$@"; do
    try "$suite"
done
