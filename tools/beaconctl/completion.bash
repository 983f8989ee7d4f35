# Bash completion for beaconctl.
_beaconctl() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} word
    case $previous in
        --host | --timeout | --product) return ;;
        browse)
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
            return
            ;;
        search)
            mapfile -t COMPREPLY < <(compgen -W "ssdp:all upnp:rootdevice" -- "$current")
            return
            ;;
    esac
    if [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "--host --timeout --product --json --help --version" -- "$current")
        return
    fi
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        case $word in nodes | hosts | watch | browse | search | monitor | status | help) return ;; esac
    done
    mapfile -t COMPREPLY < <(compgen -W "nodes hosts watch browse search monitor status help" -- "$current")
}
complete -F _beaconctl beaconctl
