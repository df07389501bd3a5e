# bash completion for readkey
_readkey() {
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
    local options='--summary --json --csv --csv=insertions --csv=cards --csv=files --html --events --vehicle
        --driver --from --to --as-of --utc --copy-to --downloaded-dir --remount --verbose --help --version'
    COMPREPLY=()
    case $prev in
    --vehicle | --driver | --from | --to | --as-of) return ;;
    --html) compopt -o filenames && mapfile -t COMPREPLY < <(compgen -f -- "$cur") && return ;;
    esac
    if [[ $cur == -* && $prev != --copy-to ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$cur")
    else
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -d -- "$cur")
    fi
}
complete -F _readkey readkey
