# shellcheck shell=sh
#
# Makes /Users/Shared, the folder of the show, for all users of the machine, open to all like /tmp;
# the show's own folder is made by the first save. An existing folder is left as it is.
# build_app.sh runs this with sh, and the Debian package's postinst contains it; the latter may be
# given another root to install into, DPKG_ROOT.
if [ ! -d "${DPKG_ROOT:-}/Users/Shared" ]; then
    [ -d "${DPKG_ROOT:-}/Users" ] || mkdir -m 755 "${DPKG_ROOT:-}/Users"
    mkdir -m 1777 "${DPKG_ROOT:-}/Users/Shared"
fi
