#!/usr/bin/env bash
# Tests the Debian package in an empty Debian: installs it there with its dependencies, starts both programs as an
# ordinary user, looks at them, removes it again, and pastes what its guide tells to paste. As root, after
# ./build_app.sh package:
#
#   packaging/try_package.sh [SUITE [PACKAGE [PICTURE]]]      bookworm (Debian 12) where none is named
#
# The picture of the window lands in PICTURE, build/package/try.png where none is given. Needs debootstrap, xvfb, openbox,
# xdotool, x11-utils, imagemagick and iproute2, about 900 MB below /tmp for a few minutes, and the archive of Debian or
# WINGBELL_MIRROR.
# It removes what it makes.
set -euo pipefail

say() { printf '%s\n' "try_package.sh: $*"; }
fail() {
    say "$*" >&2
    exit 1
}

# until_true WHAT COMMAND...: waits until the command succeeds; gives up after half a minute.
until_true() {
    local what=$1 deadline=$((SECONDS + 30))
    shift
    until "$@"; do
        [ $SECONDS -lt $deadline ] || {
            tail -n 20 "$work/server" "$work/window" >&2 || true
            [ -z "${DISPLAY:-}" ] || import -window root "$picture" || true
            fail "timed out: $what"
        }
        read -r -t 0.1 <> <(:) || true
    done
}

in_root() { chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8 "$@"; }
# In its own network namespace, so that no port of this computer is used or found. Replaces this shell by the program.
# The user is in the group of the desk's users once there is one, as after the next login.
become_crew() {
    local groups=()
    ! in_root getent group wingbell >/dev/null || groups=(--groups=wingbell)
    exec nsenter --net="$network" chroot --userspec=crew:crew "${groups[@]}" "$root" \
        /usr/bin/env -i PATH=/usr/bin:/bin HOME=/home/crew LC_ALL=C.UTF-8 DISPLAY="${DISPLAY:-}" "$@"
}
apt_get() {
    local words
    words=$(in_root apt-get -y -q --no-install-recommends "$@" 2>&1) || fail "apt-get $1 failed: $words"
}
# Everything in the root but what the system keeps about packages, and what belongs to the user.
files() {
    (cd "$root" && find . -xdev \( -path ./proc -o -path ./sys -o -path ./dev -o -path ./run -o -path ./tmp -o -path ./home \
        -o -path ./var/lib/dpkg -o -path ./var/lib/apt -o -path ./var/cache -o -path ./var/log \) -prune -o -print | LC_ALL=C sort)
}
holds_port() { nsenter --net="$network" ss -Hltn "sport = :$port" | grep -q .; }
has_child() { pgrep -P "$1" -x "$2" >/dev/null; }
window_id() { xdotool search --onlyvisible --pid "$1" 2>/dev/null | tail -n 1; }
has_window_manager() { xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null | grep -q '#'; }
shows_window() { [ -n "$(window_id "$1")" ]; }
shot() { import -window "$(window_id "$1")" -strip "$2"; }
# Two equal pictures: the window has stopped changing.
stands_still() {
    shot "$1" "$work/before.png"
    read -r -t 0.3 <> <(:) || true
    shot "$1" "$work/after.png"
    cmp -s "$work/before.png" "$work/after.png"
}

write_show() {
    local channels='["Main", "Green Room"]'
    printf '{"show": "Recital", "channels": %s, "roles": [{"name": "Stage Manager", "talk": %s, "listen": %s}], "oscPort": %s}\n' \
        "$channels" "$channels" "$channels" "$port" >"$1"
}

go_on_air() {
    (become_crew /usr/libexec/wingbell-control/IntercomServer /Users/Shared/Wingbell/roles.json) >"$work/server" 2>&1 &
    server=$!
    until_true "the server says how the crew join" grep -q "The desk's own page" "$work/server"
}
go_off_air() {
    kill -TERM "$server"
    wait "$server" || fail "the server ended with status $?: $(cat "$work/server")"
}
has_said() { until_true "the server says $1" grep -qF "$1" "$work/server"; }

# paste NAME: what the guide's page of that name tells to paste, as the user, who may use sudo. Ends at the first error.
paste() {
    say "    $1: $(grep -v '^#' "$work/guide/$1" | tr '\n' ';')"
    (become_crew /bin/bash -e -c "cd; $(cat "$work/guide/$1")") >"$work/pasted" 2>&1 </dev/null ||
        fail "$1 failed: $(cat "$work/pasted")"
}

# Everything that the guide tells to paste, where it can be done without a desktop or the source, in the state that the
# guide speaks of.
try_guide() {
    local block name code
    # A user of a desktop may use sudo, and both firewalls are there.
    apt_get install sudo procps ufw firewalld dbus
    apt_get install --download-only liblo-tools # what is pasted has no internet
    echo 'crew ALL=(ALL) NOPASSWD: ALL' >"$root/etc/sudoers.d/crew"
    echo 'APT::Get::Assume-Yes "true";' >"$root/etc/apt/apt.conf.d/assume-yes" # in place of the reader's answer
    mkdir -p "$root/run/dbus"
    nsenter --net="$network" chroot "$root" dbus-daemon --system --fork --nopidfile
    nsenter --net="$network" chroot "$root" firewalld --nofork >"$work/firewalld" 2>&1 &
    until_true "firewalld runs" nsenter --net="$network" chroot "$root" firewall-cmd --state --quiet
    cp "$package" "$root/home/crew/wingbell-control_1_amd64.deb"
    write_show "$root/Users/Shared/Wingbell/roles.json"
    cp "$root/Users/Shared/Wingbell/roles.json" "$root/home/crew/"
    python3 "$top/packaging/write_guide_commands.py" "$root/usr/share/doc/wingbell-control/guide" "$work/guide" crew
    for block in "$work"/guide/*; do
        name=${block##*/}
        case $(cat "$block") in
        *build_app.sh*) say "    $name: left out, it is for the source" ;;
        *oscdump*)
            sed -i 's/^oscdump.*/timeout 1 & || [ $? -eq 124 ]/' "$block" # it has no end
            paste "$name"
            ;;
        *oscsend*reply*)
            go_on_air
            paste "$name"
            has_said 'LX 12'
            ;;
        *oscsend*say*)
            paste "$name"
            has_said 'Hello crew'
            has_said 'on "Green Room"'
            go_off_air
            ;;
        *crew-code*echo* | *echo*crew-code*)
            paste "$name"
            code=$(cat "$root/home/crew/.local/state/wingbell/crew-code")
            go_on_air
            has_said "with the code $code"
            go_off_air
            ;;
        *Wingbell.old/roles.json*)
            (become_crew /bin/bash -c 'cd; sudo apt install --reinstall ./wingbell-control_*.deb') >"$work/pasted" 2>&1 ||
                fail "installing again failed: $(cat "$work/pasted")"
            paste "$name"
            ;;
        'install -m 660'*)
            paste "$name"
            go_on_air
            has_said "with the code $code"
            ! grep -F 'shared folder' "$work/server" || fail "the shared folder is not used"
            (become_crew sudo pkill -TERM IntercomServer)
            wait "$server" || fail "the server ended with status $?: $(cat "$work/server")"
            ;;
        *) paste "$name" ;;
        esac
    done
}

# Within namespaces of its own: what is mounted and what runs ends with it.
inside() {
    root=$work/root
    network=$work/network
    port=47000
    local window number server

    mount -t proc proc "$root/proc"
    mount --rbind --make-rslave /dev "$root/dev"
    mount -t sysfs -o ro sysfs "$root/sys"
    mount -t proc proc /proc
    printf '#!/bin/sh\nexit 101\n' >"$root/usr/sbin/policy-rc.d" # nothing that is installed starts a service
    chmod 755 "$root/usr/sbin/policy-rc.d"
    in_root useradd --create-home crew
    touch "$network"
    unshare --net="$network" ip link set lo up

    say "installing what the package asks for"
    cp "$package" "$root/tmp/wingbell-control.deb"
    apt_get update
    apt_get satisfy "$(dpkg-deb -f "$package" Depends)"
    in_root dpkg-query -W -f '${Package}\n' >"$work/packages"
    files >"$work/before"

    say "installing the package"
    apt_get install /tmp/wingbell-control.deb
    diff <(in_root dpkg-query -W -f '${Package}\n') "$work/packages" | grep '^[<>]' >"$work/new" || true
    [ "$(cat "$work/new")" = "< wingbell-control" ] || fail "more was installed than the package: $(cat "$work/new")"
    [ "$(stat -c '%a %U' "$root/Users/Shared" "$root/Users/Shared/Wingbell")" = $'1777 root\n777 root' ] ||
        fail "the folder for the show is not open to all"
    in_root dpkg --audit
    ! in_root ldd /usr/bin/WingbellControl /usr/libexec/wingbell-control/IntercomServer | grep 'not found' || fail "libraries are missing"

    say "the server, on its own"
    write_show "$root/Users/Shared/Wingbell/roles.json"
    go_on_air
    go_off_air
    grep -q '^Off air after ' "$work/server" || fail "the server did not say that it ended: $(cat "$work/server")"
    sed 's/^/    /' "$work/server"

    say "the window"
    mkfifo "$work/display"
    Xvfb -displayfd 3 -screen 0 900x840x24 -nolisten tcp -noreset -ac 3>"$work/display" 2>/dev/null &
    screen=$!
    trap 'kill "$screen" && wait "$screen"' EXIT # it has files in /tmp to take along
    read -r number <"$work/display"
    export DISPLAY=:$number
    openbox >/dev/null 2>&1 &
    until_true "the window manager is there" has_window_manager
    mkdir -p "$root/tmp/.X11-unix"
    mount --bind /tmp/.X11-unix "$root/tmp/.X11-unix"
    (become_crew /usr/bin/WingbellControl) >"$work/window" 2>&1 &
    window=$!
    until_true "the window shows" shows_window "$window"
    until_true "the window stands still" stands_still "$window"
    say "pressing the switch"
    xdotool mousemove --window "$(window_id "$window")" 165 209 click 1
    until_true "the window starts its server" has_child "$window" IntercomServer
    until_true "the crew can join" holds_port
    until_true "the window stands still again" stands_still "$window"
    cp "$work/after.png" "$picture"
    server=$(pgrep -P "$window" -x IntercomServer)
    kill -TERM "$window"
    wait "$window" 2>/dev/null || true
    [ -e "/proc/$server" ] || fail "the server ended with its window"
    kill -TERM "$server"
    until_true "the server ends" [ ! -e "/proc/$server" ]
    [ ! -s "$work/window" ] || sed 's/^/    the window said: /' "$work/window"

    say "upgrading with a show on air"
    go_on_air
    apt_get install --reinstall /tmp/wingbell-control.deb
    holds_port || fail "the upgrade ended the show: $(cat "$work/server")"
    go_off_air

    say "removing the package"
    apt_get remove wingbell-control
    [ -f "$root/Users/Shared/Wingbell/roles.json" ] || fail "the show is gone"
    apt_get purge wingbell-control
    [ -f "$root/Users/Shared/Wingbell/roles.json" ] || fail "the show is gone"
    diff "$work/before" <(files | grep -vxE '\./Users(/Shared(/Wingbell(/roles\.json)?)?)?') || fail "the package left this behind"
    say "installing it again and removing it without a show"
    rm -r "$root/Users"
    apt_get install /tmp/wingbell-control.deb
    apt_get purge wingbell-control
    diff "$work/before" <(files) || fail "the package left this behind"

    say "the commands of the guide, pasted"
    apt_get install /tmp/wingbell-control.deb
    try_guide
    umount "$network"
    say "all is well; the window's picture: $picture"
}

top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
if [ "${1:-}" = --inside ]; then
    work=$2 package=$3 picture=$4
    inside
    exit
fi

[ "$(id -u)" -eq 0 ] || fail "only root may make another root; run this with sudo."
suite=${1:-bookworm}
package=${2:-$(find "$top/build/package" -maxdepth 1 -name '*.deb' | LC_ALL=C sort | tail -n 1)}
[ -f "$package" ] || fail "there is no package; make one with ./build_app.sh package."
package=$(realpath "$package")
picture=$(realpath "${3:-$top/build/package/try.png}")
work=$(mktemp -d /tmp/try-package.XXXXXX)
trap 'rm -rf --one-file-system "$work"' EXIT

say "making an empty $suite"
debootstrap --variant=minbase "$suite" "$work/root" ${WINGBELL_MIRROR:+"$WINGBELL_MIRROR"} >"$work/words" 2>&1 ||
    fail "debootstrap failed: $(tail -n 5 "$work/words")"
unshare --mount --propagation private --pid --fork --kill-child "${BASH_SOURCE[0]}" --inside "$work" "$package" "$picture"
