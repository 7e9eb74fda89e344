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
install() { (umask 077 && sh "$postinst" configure) 2>"$roots/words"; }
remove() { sh "$postrm" remove; }
purge() { sh "$postrm" purge; }
says() { grep -qF "$1" "$roots/words"; }
says_nothing() { [ ! -s "$roots/words" ]; }
nothing_is_left() { [ -z "$(find "$DPKG_ROOT" -mindepth 1 ! -path "$DPKG_ROOT/var" ! -path "$DPKG_ROOT/var/lib")" ]; }

new_root
check "an installation succeeds" install
check "it has nothing to say" says_nothing
check "the folder is open to all, like /tmp" mode_is "$users/Shared" 1777
check "only the administrator adds beside it" mode_is "$users" 755
check "all may write in the show's folder" mode_is "$users/Shared/Wingbell" 777
(umask 077 && echo show >"$users/Shared/Wingbell/roles.json")
check "all may write what one user has saved" mode_is "$users/Shared/Wingbell/roles.json" 666
rm "$users/Shared/Wingbell/roles.json"
remove
check "a removed package leaves the folder" [ -d "$users/Shared/Wingbell" ]
check "a later version is installed" install
purge
check "a purge removes what the package made and is unused" nothing_is_left

new_root
install
echo show >"$users/Shared/Wingbell/roles.json"
install
remove
purge
check "a show stays when the package goes" [ -f "$users/Shared/Wingbell/roles.json" ]
check "its folder stays open to all" mode_is "$users/Shared/Wingbell" 777
check "so does the one that it is in" mode_is "$users/Shared" 1777

new_root
mkdir -p "$users/Shared/Wingbell"
chmod 750 "$users/Shared" "$users/Shared/Wingbell"
install
check "folders that were there keep their permissions" mode_is "$users/Shared" 750
check "the show's, too" mode_is "$users/Shared/Wingbell" 750
purge
check "folders that another user made stay, even if empty" [ -d "$users/Shared/Wingbell" ]

new_root
mkdir -p "$users/Shared"
chmod 777 "$users/Shared"
check "an installation succeeds where another user could replace what it makes" install
check "it makes nothing there" [ ! -e "$users/Shared/Wingbell" ]

new_root
mkdir -m 755 "$users"
install
purge
check "an empty folder that somebody else made stays" [ -d "$users" ]
check "what the package made in it goes" [ ! -e "$users/Shared" ]

new_root
mkdir -p "$users/crew"
install
purge
check "other folders beside it are not touched" [ -d "$users/crew" ]

new_root
mkdir "$DPKG_ROOT/elsewhere"
ln -s elsewhere "$users"
check "an installation succeeds through a link" install
check "the show's folder is where the link leads" mode_is "$DPKG_ROOT/elsewhere/Shared/Wingbell" 777
check "a purge succeeds through a link" purge
check "it removes nothing there" [ -d "$DPKG_ROOT/elsewhere/Shared/Wingbell" ]

# in_the_way WHERE COMMAND...: the command puts something there that is no folder
in_the_way() {
    new_root
    local where=$users$1
    mkdir -p "${where%/*}"
    chmod 755 "${where%/*}"
    "${@:2}" "$where"
    local before
    before=$(stat -c '%F %i' "$where")
    check "an installation succeeds in spite of '${*:2} $1'" install
    check "it says what is in the way: '${*:2} $1'" says "$where is no folder"
    check "a purge succeeds in spite of '${*:2} $1'" purge
    check "what was in the way stays: '${*:2} $1'" [ "$(stat -c '%F %i' "$where")" = "$before" ]
}
for where in '' /Shared /Shared/Wingbell; do
    in_the_way "$where" touch
    in_the_way "$where" mkfifo
    in_the_way "$where" ln -s nowhere
done

new_root
purge
check "a purge without a folder does nothing" nothing_is_left

# One user saves over what another one has saved.
if [ "$(id -u)" -eq 0 ]; then
    new_root
    chmod 711 "$roots" "$DPKG_ROOT"
    install
    file=$users/Shared/Wingbell/roles.json
    as() { setpriv --reuid="$1" --regid="$1" --clear-groups sh -c "umask 077; echo '$1' >'$file'"; }
    check "one user saves" as 1201
    check "another user saves over it" as 1202
    check "that is the show now" [ "$(cat "$file")" = 1202 ]
fi
exit $failed
