# shellcheck shell=bash
# To be sourced: what the program's description for software centres is allowed to lack.

# The option for appstreamcli. "local" is not a domain: the project has none and must not claim another's, and so it has no
# homepage either, unless the build names one. AppStream 1.0 knows another way to name the developers, which that of
# Debian 12 does not read.
accepted_complaints() {
    local later=
    case $(appstreamcli --version) in
        *' 0.'*) ;;
        *) later=,developer-name-tag-deprecated=pedantic,developer-info-missing=pedantic,url-homepage-missing=pedantic ;;
    esac
    echo "--override=cid-maybe-not-rdns=pedantic$later"
}
