#!/usr/bin/env bash
# The package makes the folder of the show, leaves one that is there alone, and never takes a show away. Runs the package's
# own scripts on other roots: shared_folder_test.sh BUILD_FOLDER
set -euo pipefail
postinst=$1/packaging/debian/postinst
postrm=$1/packaging/debian/postrm
roots=$(mktemp -d)
trap 'rm -rf "$roots"' EXIT
failed=0

# check WHAT COMMAND...: the command is true of the root at hand
check() {
    "${@:2}" || {
        echo "not so: $1"
        failed=1
    }
}
new_root() {
    DPKG_ROOT=$(mktemp -d -p "$roots")
    export DPKG_ROOT
    users=$DPKG_ROOT/Users
}
mode_is() { [ "$(stat -c %a "$1")" = "$2" ]; }
install() { (umask 077 && sh "$postinst" configure); }
remove() { sh "$postrm" remove; }
purge() { sh "$postrm" purge; }

new_root
install
check "the folder is open to all, like /tmp" mode_is "$users/Shared" 1777
check "only the administrator adds beside it" mode_is "$users" 755
remove
check "a removed package leaves the folder" [ -d "$users/Shared" ]
purge
check "a purged one takes what it made and nobody used" [ ! -e "$users" ]

new_root
install
mkdir "$users/Shared/Wingbell"
echo show >"$users/Shared/Wingbell/roles.json"
install
remove
purge
check "a show stays, whatever becomes of the package" [ -f "$users/Shared/Wingbell/roles.json" ]
check "its folder stays open to all" mode_is "$users/Shared" 1777

new_root
mkdir -p "$users/Shared"
chmod 750 "$users/Shared"
install
check "a folder that was there keeps its permissions" mode_is "$users/Shared" 750
purge
check "a folder that somebody else made stays, though it is empty" [ -d "$users/Shared" ]

new_root
mkdir -p "$users/crew"
install
purge
check "nobody's folder beside it is touched" [ -d "$users/crew" ]

new_root
purge
check "a purge finds nothing to do where nothing is" [ ! -e "$users" ]
exit $failed
