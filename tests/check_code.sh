#!/usr/bin/env bash
# Form and static checks: clang-format, qmlformat, qmllint, clang-tidy. Prints what is wrong and
# fails; changes nothing.
#
#   tests/check_code.sh               all of them; clang-tidy only for what has changed of late
#   tests/check_code.sh --everything  the same with clang-tidy for every source, which takes 20 minutes
#   tests/check_code.sh --format      the formatters alone, which need no build
#   tests/check_code.sh --fix         rewrites what the formatters would write otherwise
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

qt_tools=/usr/lib/qt6/bin
mapfile -t cpp < <(git ls-files '*.cpp' '*.h')
mapfile -t qml < <(git ls-files '*.qml')
failed=0

check_format() {
    echo "clang-format"
    clang-format --dry-run -Werror "${cpp[@]}" || failed=1
    echo "qmlformat"
    local file
    for file in "${qml[@]}"; do
        "$qt_tools/qmlformat" "$file" | diff -q - "$file" >/dev/null || {
            echo "$file: not as qmlformat writes it"
            failed=1
        }
    done
}

# The sources that differ from the last release, or else from 20 commits ago, and those that include
# a header that does. Every source where the history does not reach back that far.
changed_sources() {
    local base
    base=$(git describe --tags --abbrev=0 2>/dev/null || git rev-parse --verify --quiet HEAD~20) || {
        git ls-files '*.cpp'
        return
    }
    {
        git diff --name-only --diff-filter=d "$base" -- '*.cpp'
        git diff --name-only --diff-filter=d "$base" -- '*.h' | sed 's/.*/#include "&"/' |
            git grep -lFf - -- '*.cpp' || true # no header, no source
    } | sort -u
}

case ${1:-} in
    --fix)
        clang-format -i "${cpp[@]}"
        "$qt_tools/qmlformat" -i "${qml[@]}"
        exit
        ;;
    --format)
        check_format
        exit $failed
        ;;
esac

check_format
echo "qmllint"
cmake --build build --target all_qmllint || failed=1

if [ "${1:-}" = --everything ]; then
    mapfile -t sources < <(git ls-files '*.cpp')
else
    mapfile -t sources < <(changed_sources)
fi
echo "clang-tidy (${#sources[@]} sources)"
[ ${#sources[@]} -eq 0 ] ||
    printf '%s\n' "${sources[@]}" | xargs -P "$(nproc)" -n 4 clang-tidy --quiet -p build 2>/dev/null || failed=1

exit $failed
