# Completion of jv for fish: commands and options are those that `jv --help` lists.

function __jv_listed --argument-names title  # names below a title of a help text, a tab, what the text says of each
    awk -v title=$title '
        function put() { for (i = 1; i <= count; i++) print names[i] "\t" about; count = 0 }
        $0 == title { on = 1; next }
        /^[^ ]/ { put(); on = 0 }
        on && /^  [^ ]/ { put(); count = split($1, names, ","); about = "" }
        on && /^  [^ ]/ && match($0, /[^ ]   */) { about = substr($0, RSTART + RLENGTH) }
        on && about == "" && /^    / { about = $0; sub(/^ */, "", about) }
        END { put() }'
end

function __jv
    set -l words (commandline -opc)
    set -l jv $words[1]
    set -l command
    for word in $words[2..]
        if test $word = --
            __fish_complete_path (commandline -ct)
            return
        end
        if string match -qr '^[a-z]' -- $word && test (count $command) -eq 0 -o "$command" = keychain
            set -a command $word
        end
    end
    set -l help ($jv $command --help 2>/dev/null || $jv $command[1] --help 2>/dev/null)
    if string match -q -- '-*' (commandline -ct)
        printf '%s\n' $help | __jv_listed Options:
    else if contains Subcommands: $help
        printf '%s\n' $help | __jv_listed Subcommands:
    else
        __fish_complete_path (commandline -ct)
    end
end

complete -c jv -f -a '(__jv)'
