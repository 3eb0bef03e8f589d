# shellcheck shell=bash
# For the scripts whose work takes minutes: what is about to be done, how long it took last time, a
# count that moves, and the log to follow. Sourced.

# How often it is told without a terminal, in seconds.
progress_every=30

# in_words SECONDS
in_words() {
    if [ "$1" -lt 100 ]; then echo "$1 s"; else echo "$((($1 + 30) / 60)) min"; fi
}

# count_in LOG: how far the work is; here the newest "7/310" of its log. A script whose work counts
# otherwise has a function of its own of this name.
count_in() {
    tail -c 4096 "$1" 2>/dev/null | grep -oE '[0-9]+/[0-9]+' | tail -n 1
}

# show_count LOG: how far it is and the time it has taken, over and over on a terminal, else now and then
# a line.
show_count() {
    local log=$1 begin=$SECONDS every=$progress_every count never
    [ ! -t 1 ] || every=0.5
    # A pipe that stays empty: waiting for it sleeps without a process that would have to be ended.
    exec {never}<> <(:)
    while :; do
        read -rt "$every" -u "$never" || true
        kill -0 $$ 2>/dev/null || exit # interrupted
        count=$(count_in "$log" || true)
        if [ -t 1 ]; then
            printf '\r  %s%s \033[K' "${count:+$count, }" "$(in_words $((SECONDS - begin)))"
        else
            echo "  ${count:-at work} after $(in_words $((SECONDS - begin)))"
        fi
    done
}

# with_progress LOG FIRST COMMAND...: runs the command with its output in LOG, and returns its status.
# FIRST tells how long it takes where it was not run before.
with_progress() {
    local log=$1 usual=$2 begin=$SECONDS counter took command status=0
    shift 2
    mkdir -p "$(dirname "$log")"
    # The same command takes as long again; another one is other work.
    if [ -s "$log.took" ] && { read -r took && read -r command; } <"$log.took" &&
        [ "$command" = "$*" ]; then
        usual="last time it took $(in_words "$took")"
    fi
    echo "  $usual; to follow it: tail -f $log"
    : >"$log"
    show_count "$log" &
    counter=$!
    # In a process of its own: what ends the command must not end the script. A function of a script is
    # to join its steps with &&: here a failing one does not end it.
    ("$@") >>"$log" 2>&1 </dev/null || status=$?
    kill "$counter"
    wait "$counter" 2>/dev/null || true
    [ ! -t 1 ] || printf '\r\033[K'
    [ "$status" -ne 0 ] || printf '%s\n' $((SECONDS - begin)) "$*" >"$log.took"
    return "$status"
}

# must_go_well LOG FIRST COMMAND...: the same; where it fails, the end of the log is shown, and what it
# was is the script's last line.
must_go_well() {
    with_progress "$@" || {
        tail -n 60 "$1" >&2
        echo "$(basename "$0"): FAILED; all of the output is in $1" >&2
        exit 1
    }
}
