#!/usr/bin/env bash
# Form and static checks over everything: clang-format, qmlformat, qmllint, clang-tidy. Prints what
# is wrong and fails; changes nothing. --fix rewrites what the formatters would write otherwise.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

qt_tools=/usr/lib/qt6/bin
mapfile -t cpp < <(git ls-files '*.cpp' '*.h')
mapfile -t qml < <(git ls-files '*.qml')
failed=0

if [ "${1:-}" = --fix ]; then
    clang-format -i "${cpp[@]}"
    "$qt_tools/qmlformat" -i "${qml[@]}"
    exit
fi

echo "clang-format"
clang-format --dry-run -Werror "${cpp[@]}" || failed=1

echo "qmlformat"
for file in "${qml[@]}"; do
    "$qt_tools/qmlformat" "$file" | diff -q - "$file" >/dev/null || {
        echo "$file: not as qmlformat writes it"
        failed=1
    }
done

echo "qmllint"
cmake --build build --target all_qmllint || failed=1

echo "clang-tidy"
mapfile -t sources < <(git ls-files '*.cpp')
printf '%s\n' "${sources[@]}" | xargs -P "$(nproc)" -n 4 clang-tidy --quiet -p build 2>/dev/null || failed=1

exit $failed
