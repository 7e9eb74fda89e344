#!/usr/bin/env bash
# Software centres can read the program's description, with a homepage and without: metainfo_test.sh BUILD_FOLDER
set -euo pipefail
build=$1
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
name=local.wingbell.control.metainfo.xml
failed=0
# shellcheck source=accepted_complaints.sh
. "$root/tests/packaging/accepted_complaints.sh"

for file in "$build/packaging/$name" "$build/packaging/with-homepage/$name"; do
    appstreamcli validate --no-net --pedantic --strict "$(accepted_complaints)" "$file" || failed=1
done

# The pictures that it names on the web are the ones in this repository.
pictures=0
while read -r path; do
    pictures=$((pictures + 1))
    [ -f "$root/$path" ] || {
        echo "no such picture: $path"
        failed=1
    }
done < <(sed -n 's|.*<image>https://wingbell.example/\(.*\)</image>.*|\1|p' "$build/packaging/with-homepage/$name")
[ "$pictures" -gt 0 ] || {
    echo "found no picture: the search for them is broken"
    failed=1
}
exit $failed
