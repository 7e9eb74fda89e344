#!/usr/bin/env bash
# Sets up, builds, runs and tests WingbellControl on Debian 12 and 13.
#
#   ./build_app.sh          install what is missing and build
#   ./build_app.sh run      the same, then open the window
#   ./build_app.sh test     the same, then run the tests that every change must pass; needs no screen
#   ./build_app.sh package  build a Debian package of both programs
#   ./build_app.sh pictures take the pictures of the guide and draw the icons
#   ./build_app.sh bench    measure what the window and the server cost, and the latency
#
# Options for test: --quick leaves out the sanitizers and the static checks; --everything adds what
# a change seldom breaks: every screen, a crew under load, the thread sanitizer, the fuzzers, the line
# coverage, and clang-tidy for every source.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
package_list=$root/packaging/debian-packages.txt
cd "$root"

say() { printf '%s\n' "build_app.sh: $*"; }
fail() {
    say "$*" >&2
    exit 1
}

# The packages needed for any of the given purposes.
packages_for() {
    local purposes
    purposes=$(IFS='|' && printf '%s' "$*")
    awk -v purposes="^($purposes)\$" '$1 ~ purposes { print $2 }' "$package_list"
}

# Whether this is Debian 12 or 13, or a system that is made from one and says so.
has_the_packages() {
    [ -r /etc/os-release ] || return 1
    # shellcheck source=/dev/null
    (. /etc/os-release && case ${ID:-}-${VERSION_ID:-}-${DEBIAN_CODENAME:-} in
        debian-1[23]-* | raspbian-1[23]-* | *-bookworm | *-trixie) ;;
        *) false ;;
    esac)
}

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        fail "this needs the administrator. As root, run: $*"
    fi
}

install_packages() {
    local wanted missing=() package
    mapfile -t wanted < <(packages_for "$@")
    if ! has_the_packages; then
        say "this script installs on Debian 12 and 13 only. What is needed, by its names there:" >&2
        printf '  %s\n' "${wanted[@]}" >&2
        fail "install what corresponds on your system, then: cmake --preset release && cmake --build build &&" \
            "sudo sh -e packaging/prepare_shared_folder.sh"
    fi
    for package in "${wanted[@]}"; do
        [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    say "installing from Debian: ${missing[*]}"
    [ "$(id -u)" -eq 0 ] || say "this needs administrator rights; sudo may ask for your password."
    as_root env DEBIAN_FRONTEND=noninteractive apt-get update -q
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${missing[@]}"
    rm -f "$root/build/build.ninja" # so that a build that did without them is configured again
}

# The show is in a folder that all users of the machine share.
prepare_shared_folder() {
    [ -d /Users/Shared/Wingbell ] && return
    say "making /Users/Shared/Wingbell, the folder for the show that all users share."
    [ "$(id -u)" -eq 0 ] || say "this needs administrator rights; sudo may ask for your password."
    as_root sh -e "$root/packaging/prepare_shared_folder.sh"
}

# build PRESET [TARGET...]: configures where needed and builds those targets, or everything. The same sources give the
# same programs: Qt's tools would note when a file was changed, and go through their hashes in any order.
build() {
    local folder=build target options=() released
    released=$(sed -n 's/^ -- .*>  //p' packaging/debian/changelog | head -n 1)
    for target in "${@:2}"; do
        options+=(--target "$target")
    done
    [ "$1" = release ] || folder=build-$1
    if [ ! -f "$folder/build.ninja" ]; then
        local words
        words=$(cmake --preset "$1" 2>&1) || {
            printf '%s\n' "$words" >&2
            fail "the build could not be configured."
        }
    fi
    env QT_HASH_SEED=0 SOURCE_DATE_EPOCH="$(date --date="$released" +%s)" \
        cmake --build "$folder" "${options[@]}" || fail "the build failed; the first error above says where."
}

run_window() {
    [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ] || fail "there is no screen to open the window on. Run this from a desktop session."
    exec "$root/build/bin/WingbellControl"
}

# Packs what is built. The output of cpack matters only if it fails.
make_package() {
    local words package
    words=$(umask 022 && cd build && cpack 2>&1) || {
        printf '%s\n' "$words" >&2
        fail "the package could not be made."
    }
    package=$(sed -n 's/^CPack: - package: \(.*\) generated\.$/\1/p' <<<"$words")
    say "made $package"
    say "Install it with: sudo apt install $package"
}

# Says how long each step took, and notes it for slowest_steps.
steps=$(mktemp)
trap 'rm -f "$steps"' EXIT
step() {
    local began=$SECONDS
    say "$1"
    "${@:2}"
    say "$1: $((SECONDS - began)) s"
    printf '%s %s\n' $((SECONDS - began)) "$1" >>"$steps"
}

# run_ctest PRESET [options of ctest...]: notes what each test took as well.
run_ctest() {
    local report
    report=$PWD/build/ctest-$1.xml
    ctest --preset "$1" --output-junit "$report" "${@:2}"
    sed -n "s/.*<testcase name=\"\([^\"]*\)\".* time=\"\([^\"]*\)\".*/\2   \1 ($1)/p" "$report" >>"$steps"
}

slowest_steps() {
    say "$((SECONDS)) s in all. The ten slowest steps, the tests in them too, in seconds:"
    sort -rn "$steps" | head -n 10
}

run_tests() {
    local everything=() targets=(system_tests) sanitized=(cpp_tests) left_out=everything
    if [ "${1:-}" = --everything ]; then
        everything=(--everything)
        targets=()
        sanitized=()
        left_out=nothing
    fi
    step "checking the formatting" tests/check_code.sh --format
    step "building" build release "${targets[@]}"
    # Browsers, window managers and buses are not ours: a test with them is run a second time if it fails.
    step "running the tests of the whole system" run_ctest release -LE "^(cpp|$left_out)\$" --repeat until-pass:2
    [ "${1:-}" != --quick ] || return 0
    step "building with the address and undefined behaviour sanitizers" build sanitizers "${sanitized[@]}"
    step "running the C++ tests under them" run_ctest sanitizers -L '^cpp$' -LE "^$left_out\$"
    step "checking the code" tests/check_code.sh --code "${everything[@]}"
    [ ${#everything[@]} -gt 0 ] || return 0
    step "running the C++ tests without the sanitizers" run_ctest release -L '^cpp$'
    step "building with coverage" build coverage cpp_tests
    tests/coverage forget
    step "running the C++ tests with coverage" run_ctest coverage -L '^cpp$'
    step "printing the coverage of the C++ tests" tests/coverage
    step "building with the thread sanitizer" build thread-sanitizer thread_tests
    step "running the tests of threads under it" run_ctest thread-sanitizer -L '^threads$'
    step "running the fuzzers for a short while" tests/fuzz/run 5
}

case ${1:-build} in
    build)
        install_packages build run recommend
        prepare_shared_folder
        build release WingbellControl IntercomServer
        say "built. Open the window with: ./build_app.sh run"
        ;;
    run)
        install_packages build run recommend
        prepare_shared_folder
        build release WingbellControl IntercomServer
        run_window
        ;;
    package)
        install_packages build package
        build release WingbellControl IntercomServer
        make_package
        ;;
    pictures)
        install_packages build run test pictures
        prepare_shared_folder
        build release WingbellControl IntercomServer
        "$root/packaging/take_pictures.sh"
        "$root/packaging/draw_icons.sh"
        ;;
    bench)
        install_packages build run test bench
        build release WingbellControl IntercomServer
        "$root/bench/run"
        ;;
    test)
        install_packages build run test
        prepare_shared_folder
        export CTEST_OUTPUT_ON_FAILURE=1
        run_tests "${2:-}"
        slowest_steps
        ;;
    *)
        sed -n '2,14p' "${BASH_SOURCE[0]}" | sed 's/^# \{0,1\}//'
        exit 2
        ;;
esac
