# Completion for ipseccfgctl in bash. It needs nothing but bash.

# Files that match a pattern, and folders on the way to them.
_ipseccfgctl_files() {
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(
        compgen -f -X "!$2" -- "$1"
        compgen -d -- "$1"
    )
}

_ipseccfgctl() {
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command='' argument i
    local commands="start restart shutdown check show diff init status"
    local options="--json --verbose --server --help"
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; ++i)); do
        argument=${COMP_WORDS[i]}
        if [[ " $commands " == *" $argument "* && ${COMP_WORDS[i - 1]} != --server ]]; then
            command=$argument
            break
        fi
    done

    case $previous in
    --server | --setting-file)
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
        return
        ;;
    esac
    if [[ $word == -* ]]; then
        case $command in
        "") options+=" --version" ;;
        show) options+=" --xml --secrets" ;;
        shutdown) options+=" --setting-file --fips" ;;
        esac
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
        return
    fi
    case $command in
    "") mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$word") ;;
    shutdown | status) ;;
    *) _ipseccfgctl_files "$word" '*.toml' ;;
    esac
}

complete -F _ipseccfgctl ipseccfgctl
