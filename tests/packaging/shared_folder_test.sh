#!/usr/bin/env bash
# The package creates the show's folder, leaves an existing one alone, and never removes a show. Runs the package's own
# scripts on other roots: shared_folder_test.sh BUILD_FOLDER
set -euo pipefail
postinst=$1/packaging/debian/postinst
postrm=$1/packaging/debian/postrm
roots=$(mktemp -d)
trap 'rm -rf "$roots"' EXIT
failed=0

# check WHAT COMMAND...: the command succeeds for the current root
check() {
    "${@:2}" || {
        echo "failed: $1"
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
check "a purge removes what the package made and is unused" [ ! -e "$users" ]

new_root
install
mkdir "$users/Shared/Wingbell"
echo show >"$users/Shared/Wingbell/roles.json"
install
remove
purge
check "a show stays when the package goes" [ -f "$users/Shared/Wingbell/roles.json" ]
check "its folder stays open to all" mode_is "$users/Shared" 1777

new_root
mkdir -p "$users/Shared"
chmod 750 "$users/Shared"
install
check "a folder that was there keeps its permissions" mode_is "$users/Shared" 750
purge
check "a folder that another user made stays, even if empty" [ -d "$users/Shared" ]

new_root
mkdir -p "$users/crew"
install
purge
check "other folders beside it are not touched" [ -d "$users/crew" ]

new_root
purge
check "a purge without a folder does nothing" [ ! -e "$users" ]
exit $failed
