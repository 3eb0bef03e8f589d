# fish completion for ukeyctl, softkey, softca and with-softkey. The command itself tells what may
# follow (cli/completion.h), so there is no list here that could grow old.

function __orval_complete
    set -l words (commandline -opc)
    set -l current (commandline -ct)
    set -l lines ($words[1] __complete $words[2..-1] "$current" 2>/dev/null </dev/null)
    switch "$lines[1]"
        case ':files'
            __fish_complete_path "$current"
        case ':folders'
            __fish_complete_directories "$current"
        case ':commands'
            complete -C "$current"
        case ':command *'
            set -l first (math (string replace ':command ' '' -- $lines[1]) + 1)
            complete -C "$(string escape -- $words[$first..-1] | string join ' ') $current"
        case '*'
            printf '%s\n' $lines
    end
end

for command in ukeyctl softkey softca with-softkey
    complete -c $command -f -a '(__orval_complete)'
end
