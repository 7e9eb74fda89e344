#!/usr/bin/env bash
# Every path that CONTRIBUTING.md and README.md link to exists.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
failed=0
links=0
while read -r path; do
    links=$((links + 1))
    [ -e "$path" ] || {
        echo "no such path: $path"
        failed=1
    }
done < <(grep -ohE '\]\([^):]+\)' CONTRIBUTING.md README.md | sed 's/^](//; s/)$//')
[ "$links" -gt 10 ] || {
    echo "found $links links only: the search for them is broken"
    failed=1
}
exit $failed
