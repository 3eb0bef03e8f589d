# shellcheck shell=bash
# Sourced at once by the scripts of this folder: their help is the comment that they begin with.

usage() {
    sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0"
}

# fail WORD...: ends the script and says why; with the exit status in `failed`, which is 1 unless set.
fail() {
    echo "$(basename "$0"): $*" >&2
    exit "${failed:-1}"
}

case ${1:-} in
-h | --help) usage && exit 0 ;;
esac
