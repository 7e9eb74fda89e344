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
# What the one of Debian 13 says of the metainfo is metainfo_test's, which knows what that is allowed to lack.
of_metainfo=appstream-metadata-validation-failed
left_out=()
! lintian-explain-tags "$of_metainfo" >/dev/null 2>&1 || left_out=(--suppress-tags "$of_metainfo")
lintian "${as_root[@]}" --fail-on error,warning,info,pedantic --display-info --pedantic --tag-display-limit 0 \
    "${left_out[@]}" "$package" || failed=1

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

# The bill of materials names what the package depends on, and the libraries of which only headers were read.
dpkg-deb --fsys-tarfile "$package" | tar -xO ./usr/share/doc/wingbell-control/wingbell-control.spdx.json |
    python3 -c '
import json, re, sys

bill = json.load(sys.stdin)
names = {package["SPDXID"]: package["name"] for package in bill["packages"]}
assert len(names) == len(bill["packages"]), "an identifier is used twice"
assert all(package["versionInfo"] for package in bill["packages"])


def are(kind):
    found = [entry for entry in bill["relationships"] if entry["relationshipType"] == kind]
    assert all(names[entry["relatedSpdxElement"]] == "wingbell-control" for entry in found if kind != "DESCRIBES")
    return {names[entry["spdxElementId"]] for entry in found if kind != "DESCRIBES"}


needed = {re.match("[^ |]+", word).group() for word in sys.argv[1].split(", ")}
assert needed == are("RUNTIME_DEPENDENCY_OF"), needed ^ are("RUNTIME_DEPENDENCY_OF")
assert {"nlohmann-json3-dev", "libexpected-dev", "qt6-declarative-dev"} <= are("BUILD_DEPENDENCY_OF")
' "$depends" || failed=1

# The permissions of the files must not depend on the umask; those of the archive may.
(umask 077 && pack again)
for part in --ctrl-tarfile --fsys-tarfile; do
    cmp <(dpkg-deb "$part" "$package") <(dpkg-deb "$part" "$folder/again/${package##*/}") || failed=1
done
exit $failed
