# Completion of nimbo1 for bash; those for zsh and fish stand on it.
# What it offers comes from the help of the program that is installed, so the two cannot differ.

# _nimbo1_help PROGRAM COMMAND...: the help, each option on one line.
_nimbo1_help() {
    "$@" --help 2>/dev/null | sed -e ':a' -e 'N' -e '$!ba' -e 's/\n \{20,\}/ /g'
}

_nimbo1_commands() {
    printf '%s\n' "$1" | sed -n '/^Subcommands:/,$ s/^  \([a-z]\{1,\}\) .*/\1/p'
}

# _nimbo1_values LINES CURRENT: what may be the value that these lines of a help describe.
_nimbo1_values() {
    printf '%s\n' "$1" | sed -n -e 's/.*TEXT:{\([^}]*\)}.*/\1/p' -e 's/.*kinds: \([^;]*\);.*/\1/p' | tr -d ' ' | tr ',' '\n'
    case $1 in
        *--port\ *)
            ls -d /dev/ttyUSB* /dev/ttyACM* /dev/serial/by-id/* 2>/dev/null
            [ -z "$2" ] || compgen -f -- "$2"
            ;;
        *PATH* | *FILE*) compgen -f -- "$2" ;;
        *DIR*) compgen -d -- "$2" ;;
    esac
}

_nimbo1() {
    local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} help offered line word index=1
    local -a chosen
    chosen=("${COMP_WORDS[0]/#\~/$HOME}")
    help=$(_nimbo1_help "${chosen[@]}")
    if [ "$current" = '=' ]; then
        current=''
    elif [ "$before" = '=' ]; then
        before=${COMP_WORDS[COMP_CWORD - 2]}
    fi

    while [ "$index" -lt "$COMP_CWORD" ]; do
        word=${COMP_WORDS[index]}
        # Without a command it is run.
        if [ "$index" -eq 1 ] && [ "$word" != "${word#-}" ]; then word=run; fi
        if _nimbo1_commands "$help" | grep -qxF -e "$word"; then
            chosen+=("$word")
            help=$(_nimbo1_help "${chosen[@]}")
        fi
        index=$((index + 1))
    done
    if [ "$COMP_CWORD" -eq 1 ] && [ "$current" != "${current#-}" ]; then
        help="$help"$'\n'"$(_nimbo1_help "${chosen[@]}" run)"
    fi

    line=$(printf '%s\n' "$help" | grep -E -e "^  (-[a-z],)?$before [A-Z]")
    if [ -n "$line" ] && [ "$before" != "${before#-}" ]; then
        offered=$(_nimbo1_values "$line" "$current")
    else
        line=$(printf '%s\n' "$help" | sed -n '/^Positionals:/,/^$/p')
        offered=$(
            _nimbo1_commands "$help"
            _nimbo1_values "$line" "$current"
            [ "$current" = "${current#-}" ] || printf '%s\n' "$help" | sed -n 's/^  \(-[a-z],\)\{0,1\}\(--[a-z-]*\).*/\2/p'
        )
    fi
    case $line in
        *PATH* | *FILE* | *DIR*) compopt -o filenames 2>/dev/null ;;
        *kinds:*) compopt -o nospace 2>/dev/null ;;
    esac
    COMPREPLY=()
    while IFS= read -r word; do
        case $word in
            '') ;;
            "$current"*) COMPREPLY+=("$word") ;;
        esac
    done <<END
$offered
END
}

complete -F _nimbo1 nimbo1
