# bash completion for ukeyctl, softkey, softca and with-softkey. The command itself tells what may
# follow (cli/completion.h), so there is no list here that could grow old.

# The candidates, one a line. While they are listed, each is shown with what it is.
_orval_offer() {
    local line word what
    for line in "$@"; do
        word=${line%%$'\t'*} what=${line#*$'\t'}
        printf -v word %q "$word"
        if [ $# -gt 1 ] && [ "${COMP_TYPE:-0}" -eq 63 ] && [ -n "$what" ]; then
            word="$word  ($what)"
        fi
        COMPREPLY+=("$word")
    done
}

_orval_commands() {
    local current=${COMP_WORDS[COMP_CWORD]} lines
    COMPREPLY=()
    mapfile -t lines < <("${COMP_WORDS[0]}" __complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null </dev/null)
    case ${lines[0]-} in
    :files)
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        ;;
    :folders)
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -d -- "$current")
        ;;
    :commands) mapfile -t COMPREPLY < <(compgen -c -- "$current") ;;
    ":command "*)
        if declare -F _command_offset >/dev/null; then
            _command_offset "${lines[0]#:command }"
        else
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
        fi
        ;;
    *) _orval_offer "${lines[@]}" ;;
    esac
}

complete -F _orval_commands ukeyctl softkey softca with-softkey
