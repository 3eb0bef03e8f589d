# Sourced by the scripts that need Debian 11: its packages, fetched with apt from the mirror that this
# machine is set up with and checked against the distribution's keys. Everything happens in a folder
# of its own: the machine's configuration and packages are read, never changed, and no root is needed.
# shellcheck shell=bash

debian11_keyring=${ORVAL_DEBIAN_KEYRING:-/usr/share/keyrings/debian-archive-keyring.gpg}

debian11_fail() {
    printf '%s: %s\n' "$(basename "$0")" "$@" >&2
    exit 1
}

# The machine's own package sources that may carry Debian 11: each one, and the places beside it
# to which mirrors move a release that has become old.
debian11_candidates() {
    local uri base
    # apt fills in the name itself.
    # shellcheck disable=SC2016
    apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' | sort -u |
        while read -r uri; do
            base=${uri%/}
            echo "$base"
            echo "${base%/*}/debian"
            echo "${base%/*}/debian-archive/debian"
            echo "${base%/*}/debian-archive"
        done | awk '!seen[$0]++'
}

# How the machine reaches its mirrors (proxies, certificates) holds for the private folder too.
debian11_connection() {
    apt-config dump --format '%F "%v";%n' Acquire 2>/dev/null |
        grep -iE '^Acquire::(http|https|ftp|mirror|tor|Retries|ForceIPv)[^"]*"' || true
}

# debian11_apt DIR ARGUMENT...: apt-get on the private folder.
debian11_apt() {
    local directory=$1
    shift
    APT_CONFIG=$directory/apt.conf apt-get -qq "$@"
}

debian11_configure() {
    local directory=$1 architecture=$2
    mkdir -p "$directory"/{etc/preferences.d,etc/apt.conf.d,etc/trusted.gpg.d} \
        "$directory"/{lists/partial,cache/archives/partial}
    : >"$directory/status"
    {
        debian11_connection
        cat <<CONFIGURATION
Dir "/";
Dir::Etc "$directory/etc";
Dir::Etc::sourcelist "$directory/etc/sources.list";
Dir::Etc::sourceparts "/dev/null";
Dir::Etc::trustedparts "$directory/etc/trusted.gpg.d";
Dir::Etc::netrc "/etc/apt/auth.conf";
Dir::Etc::netrcparts "/etc/apt/auth.conf.d";
Dir::State "$directory";
Dir::State::lists "$directory/lists";
Dir::State::status "$directory/status";
Dir::Cache "$directory/cache";
APT::Architecture "$architecture";
APT::Architectures { "$architecture"; };
APT::Install-Recommends "false";
APT::Sandbox::User "root";
Acquire::Languages "none";
Debug::NoLocking "true";
CONFIGURATION
    } >"$directory/apt.conf"
}

# debian11_open DIR ARCHITECTURE: makes DIR a private apt folder on the first mirror that has the
# release with a valid signature.
debian11_open() {
    local directory=$1 architecture=$2 mirror
    command -v apt-get >/dev/null || debian11_fail "this needs apt-get; use a Debian machine"
    [ -r "$debian11_keyring" ] ||
        debian11_fail "$debian11_keyring is missing; install debian-archive-keyring"
    debian11_configure "$directory" "$architecture"
    while read -r mirror; do
        echo "deb [signed-by=$debian11_keyring] $mirror bullseye main" \
            >"$directory/etc/sources.list"
        if debian11_apt "$directory" update -o APT::Update::Error-Mode=any \
            >"$directory/update.log" 2>&1; then
            echo "$mirror"
            return
        fi
        sed "s|^|$mirror: |" "$directory/update.log" >>"$directory/tried.log"
    done < <(debian11_candidates)
    cat "$directory/tried.log" >&2 2>/dev/null || true
    debian11_fail "none of this machine's mirrors has Debian 11 with a valid signature"
}

# debian11_unpack DIR ARCHIVE...: unpacks packages into a tree in which, as on today's systems, /lib
# and its like are links into /usr. Nothing is configured or run.
debian11_unpack() {
    local root=$1 folder archive
    shift
    for folder in bin sbin lib lib64; do
        mkdir -p "$root/usr/$folder"
        ln -s "usr/$folder" "$root/$folder"
    done
    for archive in "$@"; do
        dpkg-deb --fsys-tarfile "$archive" |
            tar -x -C "$root" --keep-directory-symlink --no-same-owner --no-same-permissions
    done
    debian11_relative_links "$root"
}

# A link such as /lib/aarch64-linux-gnu/libm.so.6 must not leave the tree.
debian11_relative_links() {
    local root=$1 link target
    find "$root" -type l -lname '/*' | while read -r link; do
        target=$(readlink "$link")
        ln -sfnr "$root$target" "$link"
    done
}
