# bash completion for ukeyctl, softkey, softca and with-softkey. Verbs and options are those that
# the command itself tells in --help, so there is no list here that could grow old.

_orval_help() {
    "$@" --help 2>/dev/null </dev/null
}

# The verbs in a help text.
_orval_verbs() {
    sed -n '/^Subcommands:/,/^$/s/^  \([a-z][a-z0-9-]*\).*/\1/p'
}

# The long options in a help text: only those at the beginning of a line.
_orval_options() {
    sed -n 's/^ \{0,6\}\(-[a-z], \{0,1\}\)\{0,1\}\(--[a-z][a-z0-9-]*\).*/\2/p'
}

# The values that an option takes, where the help text lists them.
_orval_values() {
    sed -n "s/^ *$1 TEXT:{\([a-z0-9,]*\)}.*/\1/p" | tr ',' '\n'
}

_orval_commands() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local called=("${COMP_WORDS[0]}") word help candidates
    COMPREPLY=()
    if [ "${called[0]##*/}" = with-softkey ]; then
        case $previous in
        --build | --tmp)
            mapfile -t COMPREPLY < <(compgen -d -- "$current")
            return
            ;;
        esac
        if [ "${current:0:1}" = - ]; then
            candidates=$(_orval_help "${called[0]}" | _orval_options)
            mapfile -t COMPREPLY < <(compgen -W "$candidates" -- "$current")
        else
            mapfile -t COMPREPLY < <(compgen -c -- "$current")
        fi
        return
    fi

    # Follow the verbs on the line as deep as they go; options and their values are passed over.
    help=$(_orval_help "${called[0]}")
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        if _orval_verbs <<<"$help" | grep -qxF -e "$word"; then
            called+=("$word")
            help=$(_orval_help "${called[@]}")
        fi
    done

    candidates=
    case $previous in --*) candidates=$(_orval_values "$previous" <<<"$help") ;; esac
    if [ -z "$candidates" ] && [ "${current:0:1}" = - ]; then
        candidates=$(_orval_options <<<"$help")
    elif [ -z "$candidates" ]; then
        candidates=$(_orval_verbs <<<"$help")
    fi
    if [ -n "$candidates" ]; then
        mapfile -t COMPREPLY < <(compgen -W "$candidates" -- "$current")
    else
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    fi
}

complete -o filenames -F _orval_commands ukeyctl softkey softca with-softkey
