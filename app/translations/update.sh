#!/usr/bin/env bash
# Brings files of translations up to date with the window's texts: new texts come in unfinished, what
# no view says any longer goes. A file that is not there yet is begun.
#
#   update.sh LUPDATE FILE.ts...
set -euo pipefail
lupdate=$1
shift
files=()
for file in "$@"; do
    files+=("$(realpath "$file")")
done
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
# Without places in the sources: a view that is moved about changes no translation.
"$lupdate" -silent -no-obsolete -locations none -source-language en -extensions qml \
    app panels look -ts "${files[@]}"
