# bash completion for halvora. It asks the tool itself (`halvora ... --help`) for the subcommands and
# options of the command being typed, so it never falls behind the tool.

_halvora_help_words() {
    # $1: the program; the rest: the subcommands typed so far. Prints the subcommands and long options.
    local program=$1
    shift
    "$program" "$@" --help 2>/dev/null | awk '
        /^Subcommands:/ { section = "sub"; next }
        /^Options:/ { section = "opt"; next }
        /^[^ ]/ { section = "" }
        section == "sub" && /^  [a-z]/ { print $1 }
        section == "opt" {
            n = split($1, names, ",")
            for (i = 1; i <= n; i++) if (names[i] ~ /^--/) print names[i]
        }'
}

_halvora() {
    local cur prev words=() i
    cur=${COMP_WORDS[COMP_CWORD]}
    prev=${COMP_WORDS[COMP_CWORD-1]}
    case $prev in
        --lab|--csv|--svg|--plot|--file|--hex)
            COMPREPLY=($(compgen -f -- "$cur"))
            return ;;
        --lab-state)
            COMPREPLY=($(compgen -d -- "$cur"))
            return ;;
        --transport)
            COMPREPLY=($(compgen -W "lab bluez" -- "$cur"))
            return ;;
    esac
    # The subcommands typed so far (words that are neither options nor option values).
    for ((i = 1; i < COMP_CWORD; i++)); do
        case ${COMP_WORDS[i]} in
            -*) ;;
            *) case ${COMP_WORDS[i-1]} in
                   --lab|--lab-state|--csv|--svg|--plot|--file|--hex|--transport|--adapter|--seed|--timeout|--seconds) ;;
                   *) words+=("${COMP_WORDS[i]}") ;;
               esac ;;
        esac
    done
    COMPREPLY=($(compgen -W "$(_halvora_help_words "${COMP_WORDS[0]}" "${words[@]}")" -- "$cur"))
}

complete -F _halvora halvora
