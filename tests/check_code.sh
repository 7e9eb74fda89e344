#!/usr/bin/env bash
# Form and static checks: clang-format, qmlformat, qmllint, clang-tidy. Prints what is wrong and
# fails; changes nothing.
#
#   tests/check_code.sh --format             the formatters, which need no build
#   tests/check_code.sh --code               qmllint, and clang-tidy for what has changed of late
#   tests/check_code.sh --code --everything  the same with clang-tidy for every source: 20 minutes
#   tests/check_code.sh --fix                rewrites what the formatters would write otherwise
#
# --code needs what the presets release and sanitizers have built.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

qt_tools=/usr/lib/qt6/bin
mapfile -t cpp < <(git ls-files '*.cpp' '*.h')
mapfile -t qml < <(git ls-files '*.qml')
failed=0

# Each release of the formatters breaks some lines elsewhere, and each one of the checkers knows other checks: those of
# Debian 12 count. False, and said, on another system.
are_ours() {
    grep -q '^VERSION_CODENAME=bookworm' /etc/os-release || {
        echo "not checked: $1 of Debian 12"
        return 1
    }
}

check_format() {
    are_ours "by clang-format and qmlformat" || return 0
    echo "clang-format"
    printf '%s\n' "${cpp[@]}" | xargs -P "$(nproc)" -n 50 clang-format --dry-run -Werror || failed=1
    echo "qmlformat"
    # shellcheck disable=SC2016 # the inner shell reads its own arguments
    printf '%s\n' "${qml[@]}" | xargs -P "$(nproc)" -n 1 sh -c '
        "$0" "$1" 2>/dev/null | diff -q - "$1" >/dev/null || { echo "$1: not as qmlformat writes it"; exit 1; }' "$qt_tools/qmlformat" || failed=1
}

# The sources that differ from the last release, or else from 20 commits ago, and one source for each
# header that does; of the product at most 8, those with the most changed lines, for a change as wide as the tree.
changed_sources() {
    local base changed
    base=$(git describe --tags --abbrev=0 2>/dev/null || git rev-parse --verify --quiet HEAD~20) ||
        base=$(git hash-object -t tree /dev/null)
    changed=$(git diff --numstat --no-renames --diff-filter=d "$base" -- '*.cpp' '*.h' ':!tests' ':!bench' | sort -rn | cut -f 3)
    local file
    for file in $changed; do
        case $file in
            *.cpp) echo "$file" ;;
            *.h) git ls-files "${file%.h}.cpp" | grep . || git grep -l "\"$file\"" -- '*.cpp' | head -n 1 ;;
        esac
    done | awk '!seen[$0]++' | head -n 8
}

# clang-tidy reads the compiler's commands, without the compiler's own precompiled headers.
check_code() {
    are_ours "by qmllint and clang-tidy" || return 0
    echo "qmllint"
    cmake --build build --target all_qmllint || failed=1
    local sources commands=build-sanitizers/clang-tidy
    mapfile -t sources < <("$@")
    mkdir -p "$commands"
    sed -E 's/ -Winvalid-pch//g; s/ -include [^ ]*cmake_pch\.hxx//g' \
        build-sanitizers/compile_commands.json >"$commands/compile_commands.json"
    echo "clang-tidy (${#sources[@]} sources)"
    [ ${#sources[@]} -eq 0 ] ||
        printf '%s\n' "${sources[@]}" | xargs -P "$(nproc)" -n 1 clang-tidy --quiet -p "$commands" 2>/dev/null || failed=1
}

case "${1:-} ${2:-}" in
    "--format ") check_format ;;
    "--code ") check_code changed_sources ;;
    "--code --everything") check_code git ls-files '*.cpp' ;;
    "--fix ")
        clang-format -i "${cpp[@]}"
        "$qt_tools/qmlformat" -i "${qml[@]}"
        ;;
    *)
        sed -n '2,10p' "${BASH_SOURCE[0]}" | sed 's/^# \{0,1\}//'
        exit 2
        ;;
esac
exit $failed
