#compdef ukeyctl softkey softca with-softkey
# zsh completion. The command itself tells what may follow (cli/completion.h), so there is no list
# here that could grow old.

_orval_commands() {
    local -a lines candidates
    local line
    lines=("${(@f)$("${words[1]}" __complete "${(@Q)words[2,CURRENT-1]}" "${(Q)PREFIX}" 2>/dev/null </dev/null)}")
    case ${lines[1]} in
    :files) _files ;;
    :folders) _files -/ ;;
    :commands) _command_names -e ;;
    ':command '*)
        shift ${lines[1]#:command } words
        ((CURRENT -= ${lines[1]#:command }))
        _normal
        ;;
    ?*)
        for line in "${lines[@]}"; do
            candidates+=("${${line%%$'\t'*}//:/\\:}:${line#*$'\t'}")
        done
        _describe -V candidate candidates
        ;;
    esac
}

_orval_commands "$@"
