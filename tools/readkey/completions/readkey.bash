# bash completion for readkey
_readkey() {
    local cur=${COMP_WORDS[COMP_CWORD]} option=${COMP_WORDS[COMP_CWORD - 1]} equals=
    # bash takes the sign in --csv=gaps for a word of its own.
    if [[ $cur == '=' ]]; then
        cur='' equals=1
    elif [[ $option == '=' ]]; then
        option=${COMP_WORDS[COMP_CWORD - 2]} equals=1
    fi
    COMPREPLY=()
    case $option$equals in
    --csv1) mapfile -t COMPREPLY < <(compgen -W 'insertions gaps vehicles drivers cards files' -- "$cur") && return ;;
    --vehicle* | --driver* | --from* | --to* | --as-of*) return ;;
    esac
    if [[ $cur == -* && $option != --copy-to && $option != --html ]]; then
        mapfile -t COMPREPLY < <(compgen -W '--summary --json --csv --html --events --vehicle --driver --from --to --as-of
            --utc --copy-to --downloaded-dir --remount --verbose --help --version' -- "$cur")
    else
        compopt -o filenames
        local what=-f
        [[ $option == --copy-to ]] && what=-d
        mapfile -t COMPREPLY < <(compgen "$what" -- "$cur")
    fi
}
complete -F _readkey readkey
