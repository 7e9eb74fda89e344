#!/usr/bin/env bash
# The Debian package of this build meets Debian's rules and is reproducible: package_test.sh BUILD_FOLDER
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

# Dependencies that no tool detects are listed once, for the build and for the package.
depends=$(dpkg-deb -f "$package" Depends)
for needed in $(awk '$1 == "run" { print $2 }' "$root/packaging/debian-packages.txt") libqt6quick6 libc6; do
    [[ ", $depends," =~ ", $needed"[\ ,] ]] || {
        echo "The package does not depend on $needed: $depends"
        failed=1
    }
done

recommends=$(dpkg-deb -f "$package" Recommends)
for better in $(awk '$1 == "recommend" { print $2 }' "$root/packaging/debian-packages.txt"); do
    [[ ", $recommends," == *", $better,"* ]] || {
        echo "The package does not recommend $better: $recommends"
        failed=1
    }
done

# The permissions of the files must not depend on the umask; those of the archive may.
(umask 077 && pack again)
for part in --ctrl-tarfile --fsys-tarfile; do
    cmp <(dpkg-deb "$part" "$package") <(dpkg-deb "$part" "$folder/again/${package##*/}") || failed=1
done
exit $failed
