# Completes hearthctl's verbs, options, and the services of the running daemon.
# shellcheck shell=bash

_hearthctl_matching() {
    mapfile -t COMPREPLY < <(compgen -W "$1" -- "$2")
}

# The services that begin with the word, written so that the shell takes them for nothing but names.
_hearthctl_services() {
    local name
    while IFS= read -r name; do
        [[ $name != "$2"* ]] || COMPREPLY+=("$(printf '%q' "$name")")
    done < <("$1" list 2>/dev/null)
}

_hearthctl() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local verb='' words=0 i
    COMPREPLY=()
    # The verb, and how many words stand between it and the cursor.
    for ((i = 1; i < COMP_CWORD; ++i)); do
        case ${COMP_WORDS[i]} in
        --timeout | --repeat | --count | --last | --folder | --root | --listen | --interval | \
            --output | -o) ((++i)) ;;
        -?*) ;;
        *)
            if [ "$verb" ]; then
                ((++words))
            else
                verb=${COMP_WORDS[i]}
            fi
            ;;
        esac
    done

    case $previous in
    --timeout | --repeat | --count | --last | --interval) return ;;
    --listen)
        _hearthctl_matching "captions config keys pes programs sections signals" "$current"
        return
        ;;
    --output | -o)
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        return
        ;;
    --folder | --root)
        mapfile -t COMPREPLY < <(compgen -d -- "$current")
        return
        ;;
    esac
    if [[ $current == -* && $current != - ]]; then
        case $verb in
        "") _hearthctl_matching "--help --json --version" "$current" ;;
        call) _hearthctl_matching "--help --json --timeout --repeat" "$current" ;;
        stacks) _hearthctl_matching "--help --json --last --folder" "$current" ;;
        monitor) _hearthctl_matching "--help --json --count" "$current" ;;
        check) _hearthctl_matching "--help --json --root --strict" "$current" ;;
        new) _hearthctl_matching "--help --listen" "$current" ;;
        plot) _hearthctl_matching "--help --output" "$current" ;;
        top) _hearthctl_matching "--help --json --interval --once" "$current" ;;
        *) _hearthctl_matching "--help --json" "$current" ;;
        esac
        return
    fi
    case $verb:$words in
    :*)
        _hearthctl_matching \
            "list status load start stop unload call signal monitor stacks check new plot blame top" \
            "$current"
        ;;
    check:* | plot:0 | blame:0 | top:0) mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
    status:0 | load:0 | start:0 | stop:0 | unload:0 | call:0 | signal:0 | monitor:*)
        # Nothing, without a word, where there is no daemon or only root may ask. A notification's
        # subject is often its service's name.
        _hearthctl_services "${COMP_WORDS[0]}" "$current"
        ;;
    call:1 | signal:1)
        if [[ $current == @* ]]; then
            mapfile -t COMPREPLY < <(compgen -P @ -f -- "${current#@}")
        fi
        ;;
    esac
}

complete -F _hearthctl hearthctl
