# shellcheck shell=bash
# Completion of tarn for bash. All it knows comes from the tool's own --help.

# The help of the command that the words name; words that are none end it.
_tarn_help() { "$@" --help 2>/dev/null </dev/null; }

# Column one of a section of a help on stdin.
_tarn_names() {
    awk -v wanted="$1" '
        /^[A-Z]/ { inside = ($0 ~ "^" wanted); next }
        inside && /^  [^ ]/ { print $1 }' | tr , '\n'
}

# The type of an option's value, as the help on stdin has it: FILE, DIR, LEVEL; nothing for a flag.
_tarn_type() {
    awk -v option="$1" '
        /^  -/ {
            count = split($1, names, ",")
            for (i = 1; i <= count; i++) if (names[i] == option && $2 ~ /^[A-Z]+$/) { print $2; exit }
        }'
}

_tarn() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local -a command=("${COMP_WORDS[0]}")
    local help names word type index
    help=$(_tarn_help "${command[@]}")
    for ((index = 1; index < COMP_CWORD; index++)); do
        word=${COMP_WORDS[index]}
        if [[ $word == -* ]]; then
            [[ -n $(_tarn_type "$word" <<<"$help") ]] && ((index++))
        elif _tarn_names Subcommands <<<"$help" | grep -qxF -e "$word"; then
            command+=("$word")
            help=$(_tarn_help "${command[@]}")
        fi
    done

    COMPREPLY=()
    type=$([[ $previous == -* ]] && _tarn_type "$previous" <<<"$help")
    case $type in
        "") ;;
        DIR) compopt -o filenames 2>/dev/null; mapfile -t COMPREPLY < <(compgen -d -- "$current"); return ;;
        LEVEL) mapfile -t COMPREPLY < <(compgen -W "error warning notice info" -- "$current"); return ;;
        FILE | PATH | PACKAGE) compopt -o filenames 2>/dev/null; mapfile -t COMPREPLY < <(compgen -f -- "$current"); return ;;
        *) return ;;
    esac
    names=$(_tarn_names Subcommands <<<"$help")
    if [[ $current == -* ]]; then
        names=$(_tarn_names Options <<<"$help"; _tarn_names "Common options" <<<"$help")
    elif [[ -z $names ]]; then
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        return
    fi
    mapfile -t COMPREPLY < <(compgen -W "$names" -- "$current")
}

complete -F _tarn tarn
