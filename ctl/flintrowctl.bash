# Completion of flintrowctl for bash: put it into /usr/share/bash-completion/completions/flintrowctl, or source it.

# The service at the --host and --port that stand in the line. Prints nothing when it is not there.
_flintrowctl_ask() {
    local -a peer=()
    local index
    for ((index = 1; index < ${#words[@]} - 1; index++)); do
        case ${words[index]} in
            --host | --port) peer+=("${words[index]}" "${words[index + 1]}") ;;
        esac
    done
    "${words[0]}" --timeout 2 --json "${peer[@]}" "$@" 2>/dev/null
}

# Titles come from the bus: only those that are a plain word are safe on a command line. The NAME of each ECU is too.
_flintrowctl_ecus() {
    _flintrowctl_ask list |
        sed -nE 's/^ *"name": "([0-9a-f]{16})",?$/\1/p; s/^ *"title": "([A-Za-z0-9][A-Za-z0-9._-]*)",?$/\1/p'
}

_flintrowctl_versions() {
    _flintrowctl_ask show -- "$1" |
        sed -nE '/^  "update_versions": \[$/,/^  \]/s/^ *"([A-Za-z0-9][A-Za-z0-9._+~-]*)",?$/\1/p'
}

_flintrowctl() {
    local commands='status list show scan directories update follow acknowledge clear shutdown'
    local options='--host --port --timeout --json --help --version'
    local command='' ecu='' word index
    local -a words=()
    COMPREPLY=()

    # To bash a "=" is a word of its own; "--host=x" means what "--host x" does.
    for word in "${COMP_WORDS[@]:0:COMP_CWORD+1}"; do
        [[ $word == '=' ]] || words+=("$word")
    done
    [[ ${COMP_WORDS[COMP_CWORD]} == '=' ]] && words+=('')
    local last=$((${#words[@]} - 1))
    local current=${words[last]} previous=${words[last - 1]}

    for ((index = 1; index < last; index++)); do
        word=${words[index]}
        case $word in
            --host | --port | --timeout) ((index++)) ;;
            --version) [[ -n $command ]] && ((index++)) ;;
            -*) ;;
            *)
                if [[ -z $command ]]; then
                    command=$word
                elif [[ -z $ecu ]]; then
                    ecu=$word
                fi
                ;;
        esac
    done

    case $previous in
        --host)
            mapfile -t COMPREPLY < <(compgen -A hostname -- "$current")
            return
            ;;
        --port | --timeout)
            return
            ;;
        --version)
            if [[ $command == update && -n $ecu ]]; then
                mapfile -t COMPREPLY < <(compgen -W "$(_flintrowctl_versions "$ecu")" -- "$current")
            fi
            return
            ;;
    esac

    if [[ $current == -* ]]; then
        [[ $command == update ]] && options+=' --follow'
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
        return
    fi
    case $command:$ecu in
        :)
            mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$current")
            ;;
        show: | update:)
            mapfile -t COMPREPLY < <(compgen -W "$(_flintrowctl_ecus)" -- "$current")
            ;;
        scan:)
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -A directory -- "$current")
            ;;
    esac
}

complete -F _flintrowctl flintrowctl
