#!/usr/bin/env bash
# The Debian package of this build is as Debian wants it, and the same each time, whoever makes it: package_test.sh BUILD_FOLDER
set -euo pipefail
build=$1
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
failed=0

pack() { cpack --config "$build/CPackConfig.cmake" -B "$folder/$1" >"$folder/words" 2>&1 || { cat "$folder/words"; exit 1; }; }
pack once
packages=("$folder"/once/*.deb)
package=${packages[0]}

as_root=()
[ "$(id -u)" -ne 0 ] || as_root=(--allow-root)
lintian "${as_root[@]}" --fail-on error,warning,info,pedantic --display-info --pedantic --tag-display-limit 0 \
    "$package" || failed=1

# What no tool finds out is listed once, for whoever builds here and for whoever installs the package.
depends=$(dpkg-deb -f "$package" Depends)
for needed in $(awk '$1 == "run" { print $2 }' "$root/packaging/debian-packages.txt") libqt6quick6 libssl3; do
    [[ ", $depends," =~ ", $needed"[\ ,] ]] || {
        echo "The package does not ask for $needed: $depends"
        failed=1
    }
done

# The files' own permissions must not come from the umask; the archive around them may tell it.
(umask 077 && pack again)
for part in --ctrl-tarfile --fsys-tarfile; do
    cmp <(dpkg-deb "$part" "$package") <(dpkg-deb "$part" "$folder/again/${package##*/}") || failed=1
done
exit $failed
