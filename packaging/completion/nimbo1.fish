# Completion of nimbo1 for fish: the one for bash, which is installed with it.
set -g __nimbo1_bash (path resolve (status dirname)/../../bash-completion/completions/nimbo1)

function __nimbo1_complete
    set -l words (commandline -opc) (commandline -ct)
    bash -c 'source "$0"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _nimbo1 && printf "%s\n" "${COMPREPLY[@]}"' \
        $__nimbo1_bash $words 2>/dev/null
end

complete -c nimbo1 -f -a '(__nimbo1_complete)'
