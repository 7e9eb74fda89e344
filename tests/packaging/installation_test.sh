#!/usr/bin/env bash
# An installation consists of exactly the expected files: installation_test.sh BUILD_FOLDER
set -euo pipefail
build=$1
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
failed=0
# shellcheck source=accepted_complaints.sh
. "$(dirname "${BASH_SOURCE[0]}")/accepted_complaints.sh"
fail() {
    echo "$*"
    failed=1
}

umask 022 # by which CMake makes folders
DESTDIR=$tree cmake --install "$build" --prefix /usr >/dev/null

# Every file with its permissions. The guide may grow; its files must be readable.
diff <(cd "$tree/usr" && find . -type f ! -path './share/doc/wingbell-control/guide/*' -printf '%m %P\n' | LC_ALL=C sort -k 2) - <<'EOF' ||
755 bin/WingbellControl
755 libexec/wingbell-control/IntercomServer
644 share/applications/wingbell-control.desktop
644 share/doc/wingbell-control/copyright
644 share/icons/hicolor/128x128/apps/wingbell-control.png
644 share/icons/hicolor/16x16/apps/wingbell-control.png
644 share/icons/hicolor/22x22/apps/wingbell-control.png
644 share/icons/hicolor/24x24/apps/wingbell-control.png
644 share/icons/hicolor/256x256/apps/wingbell-control.png
644 share/icons/hicolor/32x32/apps/wingbell-control.png
644 share/icons/hicolor/48x48/apps/wingbell-control.png
644 share/icons/hicolor/64x64/apps/wingbell-control.png
644 share/icons/hicolor/scalable/apps/wingbell-control.svg
644 share/icons/hicolor/symbolic/apps/wingbell-control-symbolic.svg
644 share/man/man1/WingbellControl.1
644 share/man/man8/IntercomServer.8
644 share/metainfo/local.wingbell.control.metainfo.xml
EOF
    fail "The installed files are not the expected ones (<: installed, >: expected)."
[ -z "$(find "$tree/usr" -type d ! -perm 755)" ] || fail "Some folders cannot be opened by all users."
[ -z "$(find "$tree/usr/share/doc" -type f ! -perm 644)" ] || fail "Some documents cannot be read by all users."
# Every link of the guide leads to something that is installed.
(cd "$tree/usr/share/doc/wingbell-control/guide" && /usr/bin/python3 - <<'EOF') || failed=1
import glob, re, sys

pages = {name: open(name, encoding="utf-8").read() for name in glob.glob("*.html")}
anchors = {name: set(re.findall(r' id="([^"]+)"', page)) | {""} for name, page in pages.items()}
links = [(name, link) for name, page in pages.items() for link in re.findall(r'(?:href|src)="([^"]+)"', page)]
files = set(glob.glob("**", recursive=True))
ours = [(name, *(link if link[0] != "#" else name + link).partition("#")) for name, link in links if "://" not in link]
dead = [link for link in ours if link[1] not in files or link[3] not in anchors.get(link[1], {""})]
assert len(ours) > 100, "found too few links: the search for them is broken"
sys.exit("\n".join(f"{page} links to {path}#{anchor}, which is not there" for page, path, _, anchor in dead) or None)
EOF

words=$(desktop-file-validate "$tree/usr/share/applications/wingbell-control.desktop" 2>&1) || failed=1
[ -z "$words" ] || fail "$words"

# The desktop entry's program and icon are installed.
entry() { sed -n "/^\[Desktop Action/q; s/^$1=//p" "$tree/usr/share/applications/wingbell-control.desktop"; }
[ -x "$tree/usr/bin/$(entry Exec)" ] || fail "The desktop entry starts nothing that is installed: $(entry Exec)"
[ -f "$tree/usr/share/icons/hicolor/scalable/apps/$(entry Icon).svg" ] || fail "The desktop entry's icon is not installed."
# The desktop entry, the icons and the metainfo fit together.
appstreamcli validate-tree --no-net "$(accepted_complaints)" "$tree" || failed=1

for page in "$tree"/usr/share/man/man*/*; do
    words=$(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -l "$page" 2>&1 >/dev/null) || failed=1
    [ -z "$words" ] || fail "$words"
    LC_ALL=C.UTF-8 man -l "$page" | grep -q '/usr/libexec/wingbell-control/IntercomServer' ||
        fail "${page##*/} does not say where the server is installed."
    ! grep -n '@' "$page" || fail "${page##*/} has an unfilled placeholder."
done

exit $failed
