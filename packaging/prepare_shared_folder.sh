# shellcheck shell=sh
#
# Makes the folder of the show for all users of the machine: /Users/Shared, open to all like /tmp, and
# in it the show's own, in which every user may change what another one has saved. What is there already
# is left as it is. Where something else is in the way, or the disk cannot be written, says so and goes on:
# the window can be used without, but not save.
# build_app.sh runs this with sh, and the Debian package's postinst contains it; the latter may be
# given another root to install into, DPKG_ROOT, and names a file in which to note what is made, made_folders.
users=${DPKG_ROOT:-}/Users

# make_folder MODE FOLDER: true if it is there now.
make_folder() {
    [ ! -d "$2" ] || return 0
    if [ -e "$2" ] || [ -L "$2" ]; then
        echo "wingbell-control: no show can be saved, because $2 is no folder. Move it away, then install again." >&2
        return 1
    fi
    mkdir -m "$1" "$2" || return 1
    [ -z "${made_folders:-}" ] || echo "${2#"${DPKG_ROOT:-}"}" >>"$made_folders"
}

# In a folder that is another user's, that user could put a link in place of what is made there.
none_can_replace() {
    [ -n "$(find -H "$1" -maxdepth 0 -user "$(id -u)" \( -perm -1000 -o ! -perm /022 \))" ]
}

if make_folder 755 "$users" && make_folder 1777 "$users/Shared" && none_can_replace "$users/Shared/." &&
    [ ! -d "$users/Shared/Wingbell" ] && make_folder 777 "$users/Shared/Wingbell"; then
    # What is made in it may be written by all, whatever the umask of its maker.
    setfacl --default --modify u::rwx,g::rwx,o::rwx "$users/Shared/Wingbell" ||
        echo "wingbell-control: only the user who saves a show first can save it again." >&2
fi
